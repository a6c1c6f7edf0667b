#include "server/APIError.h"

#include <QHash>

APIError::APIError(int status_, QString message_)
    : std::runtime_error(message_.toStdString()), status(status_), message(std::move(message_)) {}

QString APIError::errorDescription() const {
    if (status == 0) return message;
    return QStringLiteral("%1 (HTTP %2)").arg(message).arg(status);
}

QString httpStatusPhrase(int status) {
    static const QHash<int, QString> phrases = {
        {400, QStringLiteral("bad request")},
        {401, QStringLiteral("unauthorized")},
        {402, QStringLiteral("payment required")},
        {403, QStringLiteral("forbidden")},
        {404, QStringLiteral("not found")},
        {405, QStringLiteral("method not allowed")},
        {406, QStringLiteral("unacceptable")},
        {408, QStringLiteral("request timed out")},
        {409, QStringLiteral("conflict")},
        {410, QStringLiteral("no longer exists")},
        {411, QStringLiteral("length required")},
        {413, QStringLiteral("request too large")},
        {415, QStringLiteral("unsupported media type")},
        {422, QStringLiteral("unprocessable entity")},
        {429, QStringLiteral("too many requests")},
        {500, QStringLiteral("internal server error")},
        {501, QStringLiteral("unimplemented")},
        {502, QStringLiteral("bad gateway")},
        {503, QStringLiteral("service unavailable")},
        {504, QStringLiteral("gateway timed out")},
    };
    if (const auto it = phrases.constFind(status); it != phrases.constEnd()) return *it;
    if (status >= 500) return QStringLiteral("server error");
    if (status >= 400) return QStringLiteral("client error");
    if (status >= 300) return QStringLiteral("redirected");
    return QStringLiteral("success");
}
