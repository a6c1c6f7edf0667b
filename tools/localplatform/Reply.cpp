#include "Reply.h"

#include <QJsonDocument>

Reply Reply::json(const QJsonObject& object, int status) {
    return {status, QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString()};
}

Reply Reply::json(const QJsonArray& list, int status) {
    return {status, QJsonDocument(list).toJson(QJsonDocument::Compact).toStdString()};
}

Reply Reply::error(int status, const std::string& message) {
    return json(QJsonObject{{QStringLiteral("error"), QString::fromStdString(message)}}, status);
}

Reply Reply::html(std::string page, int status) {
    return {status, std::move(page), "text/html; charset=utf-8"};
}

Reply Reply::redirect(int status, std::string location) {
    Reply reply{status, {}, "text/plain; charset=utf-8"};
    return reply.withHeader("Location", std::move(location));
}
