#include "Json.h"

std::string textOf(const QJsonValue& value) {
    if (value.isString()) return value.toString().toStdString();
    if (value.isDouble()) return QString::number(value.toDouble(), 'g', 17).toStdString();
    return {};
}
