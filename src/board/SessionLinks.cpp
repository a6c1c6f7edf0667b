#include "board/SessionLinks.h"

#include "server/Settings.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

// Entries [id, url] as stored; anything that is not an array of string arrays reads as none.
QList<QStringList> readEntries(const QSettings& store) {
    const QJsonDocument doc = QJsonDocument::fromJson(store.value(SessionLinks::key).toString().toUtf8());
    QList<QStringList> entries;
    if (!doc.isArray()) return entries;
    for (const QJsonValue& item : doc.array()) {
        if (!item.isArray()) return {};
        QStringList entry;
        for (const QJsonValue& text : item.toArray()) {
            if (!text.isString()) return {};
            entry << text.toString();
        }
        entries << entry;
    }
    return entries;
}

} // namespace

void SessionLinks::remember(const QString& id, const std::optional<QUrl>& url) {
    if (!url || id.isEmpty()) return;
    QList<QStringList> entries = readEntries(m_settings.defaults());
    entries.removeIf([&](const QStringList& entry) { return !entry.isEmpty() && entry.first() == id; });
    entries << QStringList{id, url->toString(QUrl::FullyEncoded)};
    while (entries.size() > limit)
        entries.removeFirst();
    QJsonArray list;
    for (const QStringList& entry : entries)
        list.append(QJsonArray::fromStringList(entry));
    m_settings.defaults().setValue(key,
                                   QString::fromUtf8(QJsonDocument(list).toJson(QJsonDocument::Compact)));
    m_settings.defaults().sync();
}

std::optional<QUrl> SessionLinks::link(const QString& id) const {
    const QList<QStringList> entries = readEntries(m_settings.defaults());
    for (auto entry = entries.crbegin(); entry != entries.crend(); ++entry) {
        if (entry->isEmpty() || entry->first() != id) continue;
        const QUrl url(entry->last(), QUrl::StrictMode);
        if (url.isValid()) return url;
        break;
    }
    if (const auto& filed = m_settings.lastFiled(); filed && filed->id == id)
        return m_settings.link(filed->dest, id);
    return std::nullopt;
}
