#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <optional>
#include <string>

inline QString qtext(const std::string& text) {
    return QString::fromStdString(text);
}

// A string as it is, a number as its decimal text, anything else empty: ids arrive in both forms.
std::string textOf(const QJsonValue& value);

// The text at `key` (string or number); a missing or empty one answers 400.
std::string requiredText(const QJsonObject& body, const char* key);

// The string at `key`; nothing when it is absent or null; any other value answers 400.
std::optional<std::string> optionalString(const QJsonObject& body, const char* key);

// The flag at `key`; `absent` when it is absent; anything but true or false answers 400.
bool optionalBool(const QJsonObject& body, const char* key, bool absent);
