#include "Json.h"

#include "Reply.h"

std::string textOf(const QJsonValue& value) {
    if (value.isString()) return value.toString().toStdString();
    if (value.isDouble()) return QString::number(value.toDouble(), 'g', 17).toStdString();
    return {};
}

std::string requiredText(const QJsonObject& body, const char* key) {
    const std::string text = textOf(body.value(key));
    if (text.empty()) throw HttpError(400, std::string(key) + " is missing");
    return text;
}

std::optional<std::string> optionalString(const QJsonObject& body, const char* key) {
    const QJsonValue value = body.value(key);
    if (value.isUndefined() || value.isNull()) return std::nullopt;
    if (!value.isString()) throw HttpError(400, std::string(key) + " is not a string");
    return value.toString().toStdString();
}

bool optionalBool(const QJsonObject& body, const char* key, bool absent) {
    const QJsonValue value = body.value(key);
    if (value.isUndefined()) return absent;
    if (!value.isBool()) throw HttpError(400, std::string(key) + " is not true or false");
    return value.toBool();
}
