#include "workday/WorkSpan.h"

#include "core/Fmt.h"
#include "core/Json.h"

QJsonObject WorkSpan::toJson() const {
    QJsonObject o;
    Json::put(o, QStringLiteral("start"), start);
    Json::put(o, QStringLiteral("end"), end);
    Json::put(o, QStringLiteral("app"), app);
    Json::put(o, QStringLiteral("title"), title);
    return o;
}

WorkSpan WorkSpan::fromJson(const QJsonValue& value) {
    const QJsonObject o = Json::object(value);
    return {Json::get<QDateTime>(o, QStringLiteral("start")), Json::get<QDateTime>(o, QStringLiteral("end")),
            Json::get<QString>(o, QStringLiteral("app")),
            Json::getOptional<QString>(o, QStringLiteral("title"))};
}

QJsonObject WorkSpan::dict() const {
    return {{QStringLiteral("start"), Fmt::iso(start)},
            {QStringLiteral("end"), Fmt::iso(end)},
            {QStringLiteral("app"), app},
            {QStringLiteral("title"), title ? QJsonValue(*title) : QJsonValue(QJsonValue::Null)}};
}
