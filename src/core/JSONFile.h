#pragma once

#include "core/Json.h"

#include <QByteArray>
#include <QJsonValue>
#include <QString>
#include <optional>
#include <stdexcept>

// Reading and writing of JSON files: pretty-printed, keys sorted, dates as ISO 8601 with whole seconds.
namespace JSONFile {

struct WriteError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The parsed document, or nothing for a missing, unreadable or malformed file.
std::optional<QJsonValue> readValue(const QString& path);

// The file decoded as T (T::fromJson), or nothing; no error is reported and nothing is logged.
template <class T> std::optional<T> read(const QString& path) {
    const std::optional<QJsonValue> value = readValue(path);
    if (!value) return std::nullopt;
    try {
        return Json::decode<T>(*value);
    } catch (const Json::DecodeError&) {
        return std::nullopt;
    }
}

QByteArray encode(const QJsonValue& value);
// Atomic: a temporary file beside the target, then a rename, then the folder synced. Throws WriteError.
void writeAtomically(const QByteArray& data, const QString& path);
// Atomically, as writeAtomically. Throws WriteError.
void write(const QJsonValue& value, const QString& path);
template <class T>
requires requires(const T& v) {
    v.toJson();
}
void write(const T& value, const QString& path) {
    write(value.toJson(), path);
}

} // namespace JSONFile
