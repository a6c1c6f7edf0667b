#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <string>

inline QString qtext(const std::string& text) {
    return QString::fromStdString(text);
}

// A string as it is, a number as its decimal text, anything else empty: ids arrive in both forms.
std::string textOf(const QJsonValue& value);

// The text at `key` (string or number); a missing or empty one answers 400.
std::string requiredText(const QJsonObject& body, const char* key);
