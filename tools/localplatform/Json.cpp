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
