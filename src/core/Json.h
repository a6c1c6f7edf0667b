#pragma once

// Strict decoding and plain encoding of JSON records: a required field that is missing or of the wrong type
// fails the whole record; an optional field may be absent or null, but not of the wrong type.

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>
#include <QUuid>
#include <optional>
#include <stdexcept>

namespace Json {

struct DecodeError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

QJsonObject object(const QJsonValue& value);
QJsonValue required(const QJsonObject& o, const QString& key);
// Absent and null both read as absent.
std::optional<QJsonValue> optional(const QJsonObject& o, const QString& key);

QString toString(const QJsonValue& v);
double toDouble(const QJsonValue& v);
bool toBool(const QJsonValue& v);
// ISO 8601 in UTC with whole seconds; a fraction fails.
QDateTime toDate(const QJsonValue& v);
QUuid toUuid(const QJsonValue& v);
QJsonValue fromDate(const QDateTime& date);
QJsonValue fromUuid(const QUuid& id);

template <class T> T decode(const QJsonValue& v);
template <> inline QString decode<QString>(const QJsonValue& v) {
    return toString(v);
}
template <> inline double decode<double>(const QJsonValue& v) {
    return toDouble(v);
}
template <> inline bool decode<bool>(const QJsonValue& v) {
    return toBool(v);
}
template <> inline QDateTime decode<QDateTime>(const QJsonValue& v) {
    return toDate(v);
}
template <> inline QUuid decode<QUuid>(const QJsonValue& v) {
    return toUuid(v);
}
// Record types decode themselves.
template <class T> T decode(const QJsonValue& v) {
    return T::fromJson(v);
}

template <class T> QList<T> decodeList(const QJsonValue& v) {
    if (!v.isArray()) throw DecodeError("expected a list");
    QList<T> out;
    for (const QJsonValue& item : v.toArray())
        out.append(decode<T>(item));
    return out;
}

template <class T> T get(const QJsonObject& o, const QString& key) {
    return decode<T>(required(o, key));
}
template <class T> std::optional<T> getOptional(const QJsonObject& o, const QString& key) {
    if (auto v = optional(o, key)) return decode<T>(*v);
    return std::nullopt;
}
template <class T> QList<T> getList(const QJsonObject& o, const QString& key) {
    return decodeList<T>(required(o, key));
}
template <class T> std::optional<QList<T>> getOptionalList(const QJsonObject& o, const QString& key) {
    if (auto v = optional(o, key)) return decodeList<T>(*v);
    return std::nullopt;
}

inline QJsonValue encode(const QString& v) {
    return v;
}
inline QJsonValue encode(double v) {
    return v;
}
inline QJsonValue encode(bool v) {
    return v;
}
inline QJsonValue encode(const QDateTime& v) {
    return fromDate(v);
}
inline QJsonValue encode(const QUuid& v) {
    return fromUuid(v);
}
template <class T> QJsonValue encode(const T& v) {
    return v.toJson();
}
template <class T> QJsonValue encode(const QList<T>& list) {
    QJsonArray out;
    for (const T& item : list)
        out.append(encode(item));
    return out;
}
// An absent optional is left out, never written as null.
template <class T> void put(QJsonObject& o, const QString& key, const std::optional<T>& v) {
    if (v) o.insert(key, encode(*v));
}
template <class T> void put(QJsonObject& o, const QString& key, const T& v) {
    o.insert(key, encode(v));
}

} // namespace Json
