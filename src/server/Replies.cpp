// Reading the value types of replies, leniently: a server may send numbers for ids and leave fields out.
#include "server/API.h"

#include <QJsonArray>
#include <QSet>

QList<Todo> Todo::list(const QJsonValue& items) {
    QList<Todo> out;
    QSet<QString> seen;
    int place = 0;
    for (const QJsonValue& item : items.toArray()) {
        ++place;
        const QJsonObject o = item.toObject();
        const std::optional<QString> id = API::str(o.value(QLatin1String("id")));
        if (!id || seen.contains(*id)) continue;
        seen.insert(*id);
        const QJsonValue n = o.value(QLatin1String("n"));
        const bool whole = n.isDouble() && n.toDouble() == double(int(n.toDouble()));
        const QJsonValue title = o.value(QLatin1String("title")), status = o.value(QLatin1String("status"));
        out.append({whole ? int(n.toDouble()) : place, *id, title.isString() ? title.toString() : *id,
                    status.isString() ? status.toString() : QString(),
                    API::str(o.value(QLatin1String("topic"))), API::str(o.value(QLatin1String("effort"))),
                    std::nullopt});
    }
    return out;
}

namespace {
QList<QString> texts(const QJsonValue& list) {
    QList<QString> out;
    for (const QJsonValue& item : list.toArray())
        if (auto text = API::str(item)) out.append(*text);
    return out;
}
std::optional<QString> optionalString(const QJsonValue& v) {
    return v.isString() ? std::optional<QString>(v.toString()) : std::nullopt;
}
} // namespace

WrapStatus WrapStatus::from(const QJsonObject& o) {
    WrapStatus w;
    if (const QJsonValue status = o.value(QLatin1String("status")); status.isString())
        w.status = status.toString();
    w.summary = optionalString(o.value(QLatin1String("summary")));
    w.highlights = texts(o.value(QLatin1String("highlights")));
    w.tomorrow = texts(o.value(QLatin1String("tomorrow")));
    for (const QJsonValue& item : o.value(QLatin1String("cards")).toArray()) {
        const QJsonObject card = item.toObject();
        const std::optional<QString> id = API::str(card.value(QLatin1String("id")));
        if (!id) continue;
        const QJsonValue title = card.value(QLatin1String("title"));
        w.cards.append({*id, title.isString() ? title.toString() : *id});
    }
    w.error = optionalString(o.value(QLatin1String("error")));
    return w;
}

CoachReply CoachReply::from(const QJsonObject& o) {
    CoachReply reply;
    if (const QJsonValue next = o.value(QLatin1String("next_after_s")); next.isDouble())
        reply.nextAfter = next.toDouble();
    const QJsonObject tip = o.value(QLatin1String("tip")).toObject();
    const std::optional<QString> title = optionalString(tip.value(QLatin1String("title")));
    if (!title || title->trimmed().isEmpty()) return reply;
    LiveTip live{*title, optionalString(tip.value(QLatin1String("body"))).value_or(QString()), std::nullopt,
                 std::nullopt};
    const QJsonObject card = tip.value(QLatin1String("card")).toObject();
    if (const std::optional<QString> cardTitle = optionalString(card.value(QLatin1String("title")));
        cardTitle && !cardTitle->trimmed().isEmpty()) {
        live.cardTitle = cardTitle;
        live.cardWhy = optionalString(card.value(QLatin1String("why")));
    }
    reply.tip = live;
    return reply;
}
