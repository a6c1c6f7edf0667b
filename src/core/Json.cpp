#include "core/Json.h"

#include "core/Fmt.h"

namespace Json {

QJsonObject object(const QJsonValue& value) {
    if (!value.isObject()) throw DecodeError("expected an object");
    return value.toObject();
}

QJsonValue required(const QJsonObject& o, const QString& key) {
    const auto it = o.constFind(key);
    if (it == o.constEnd() || it->isNull()) throw DecodeError("missing key " + key.toStdString());
    return *it;
}

std::optional<QJsonValue> optional(const QJsonObject& o, const QString& key) {
    const auto it = o.constFind(key);
    if (it == o.constEnd() || it->isNull()) return std::nullopt;
    return *it;
}

QString toString(const QJsonValue& v) {
    if (!v.isString()) throw DecodeError("expected a string");
    return v.toString();
}

double toDouble(const QJsonValue& v) {
    if (!v.isDouble()) throw DecodeError("expected a number");
    return v.toDouble();
}

bool toBool(const QJsonValue& v) {
    if (!v.isBool()) throw DecodeError("expected a bool");
    return v.toBool();
}

QDateTime toDate(const QJsonValue& v) {
    if (auto date = Fmt::parseISOPlain(toString(v))) return *date;
    throw DecodeError("expected an ISO 8601 date with whole seconds");
}

QUuid toUuid(const QJsonValue& v) {
    const QUuid id = QUuid::fromString(toString(v));
    if (id.isNull()) throw DecodeError("expected a UUID");
    return id;
}

QJsonValue fromDate(const QDateTime& date) {
    return Fmt::isoPlain(date);
}

QJsonValue fromUuid(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace Json
