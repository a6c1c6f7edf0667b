#include "recording/Payload.h"

#include "core/Fmt.h"
#include "core/JSONFile.h"

#include <QBuffer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>

namespace Payload {
namespace {

QJsonArray spans(const QList<Span>& list) {
    QJsonArray out;
    for (const Span& s : list)
        out.append(QJsonObject{{QStringLiteral("t"), s.t}, {QStringLiteral("end"), s.end}});
    return out;
}

// Everything but the images, which are streamed after it.
QJsonObject head(const Session& session, const std::optional<QString>& selfName) {
    const SessionMeta& m = session.meta;
    QJsonArray ocr, apps;
    for (const OcrEntry& e : m.ocr.value_or(QList<OcrEntry>{}))
        ocr.append(e.toJson());
    for (const AppSpan& a : m.apps.value_or(QList<AppSpan>{}))
        apps.append(QJsonObject{{QStringLiteral("t"), a.t},
                                {QStringLiteral("end"), a.end},
                                {QStringLiteral("app"), a.app},
                                {QStringLiteral("title"), a.title ? QJsonValue(*a.title) : QJsonValue()}});
    QJsonValue routed;
    if (m.routed)
        routed = QJsonObject{{QStringLiteral("score"), m.routed->score},
                             {QStringLiteral("reasons"), QJsonArray::fromStringList(m.routed->reasons)},
                             {QStringLiteral("auto"), m.routed->isAuto}};
    return {
        {QStringLiteral("title"), m.title},
        {QStringLiteral("started"), Fmt::iso(m.started)},
        {QStringLiteral("ended"), Fmt::iso(m.ended.value_or(QDateTime::currentDateTimeUtc()))},
        {QStringLiteral("url"), QJsonValue()},
        {QStringLiteral("participants"), QJsonArray::fromStringList(m.participants)},
        {QStringLiteral("self"), selfName.value_or(QString())},
        {QStringLiteral("captions"), QJsonArray()},
        {QStringLiteral("speakers"), QJsonArray()},
        {QStringLiteral("levels"), QJsonObject{{QStringLiteral("mic"), spans(m.levelsMic)},
                                               {QStringLiteral("tab"), spans(m.levelsTab)},
                                               {QStringLiteral("mic_ok"), m.micOk}}},
        {QStringLiteral("source"), QStringLiteral("mac")},
        {QStringLiteral("app"), m.app},
        {QStringLiteral("expect_audio"), session.audioURL().has_value()},
        {QStringLiteral("kind"), m.effectiveKind()},
        {QStringLiteral("ocr"), ocr},
        {QStringLiteral("apps"), apps},
        {QStringLiteral("routed"), routed},
    };
}

QByteArray compact(const QJsonObject& o) {
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

// One image entry: its fields, then "jpeg" with the file's base64. Nothing when the file cannot be read.
std::optional<QByteArray> entry(const Session& session, const QString& file, const QJsonObject& fields) {
    QFile image(session.url(file));
    if (!image.open(QIODevice::ReadOnly)) return std::nullopt;
    QByteArray out = compact(fields);
    out.chop(1); // the closing brace
    out += (fields.isEmpty() ? "\"jpeg\":\"" : ",\"jpeg\":\"") + image.readAll().toBase64() + "\"}";
    return out;
}

// Writes `"key":[e1,e2,...]`, one entry at a time.
template <class Item, class Fields>
bool writeImages(QIODevice& out, const char* key, const Session& session, const QList<Item>& items,
                 Fields fields) {
    bool ok = out.write(QByteArray(",\"") + key + "\":[") >= 0;
    bool first = true;
    for (const Item& item : items) {
        const std::optional<QByteArray> e = entry(session, item.file, fields(item));
        if (!e) continue;
        ok = ok && out.write(first ? *e : "," + *e) >= 0;
        first = false;
    }
    return ok && out.write("]") >= 0;
}

} // namespace

bool writeTo(QIODevice& out, const Session& session, const std::optional<QString>& selfName) {
    QByteArray start = compact(head(session, selfName));
    start.chop(1); // the images follow inside the same object
    bool ok = out.write(start) >= 0;
    ok = ok && writeImages(out, "shots", session, session.meta.shots, [](const ShotMeta& s) {
             return QJsonObject{{QStringLiteral("t"), s.t}};
         });
    ok = ok && writeImages(out, "pins", session, session.meta.pins, [](const PinMeta& p) {
             QJsonObject o{{QStringLiteral("t"), p.t}, {QStringLiteral("note"), p.note}};
             if (p.isAuto.value_or(false)) o.insert(QStringLiteral("auto"), true);
             if (p.textOnly.value_or(false)) o.insert(QStringLiteral("text_only"), true);
             return o;
         });
    return ok && out.write("}") >= 0;
}

QJsonObject dictionary(const Session& session, const std::optional<QString>& selfName) {
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    writeTo(buffer, session, selfName);
    return QJsonDocument::fromJson(buffer.data()).object();
}

QString write(const Session& session, const std::optional<QString>& selfName) {
    const QString path = session.url(QStringLiteral("payload.json"));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || !writeTo(file, session, selfName) || !file.commit())
        throw JSONFile::WriteError(QStringLiteral("payload.json: %1").arg(file.errorString()).toStdString());
    return path;
}

} // namespace Payload
