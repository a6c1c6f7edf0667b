#include "board/AppSession.h"

#include "board/WebHosts.h"
#include "server/API.h"
#include "server/Platform.h"

#include <QCoroNetworkReply>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <memory>

namespace AppSession {

Result parse(int status, const QByteArray& data, const QString& base) {
    if (status >= 200 && status <= 299) {
        const QJsonValue raw = QJsonDocument::fromJson(data).object().value(QLatin1String("url"));
        if (const auto url = WebHosts::validAppSessionURL(
                raw.isString() ? std::optional<QString>(raw.toString()) : std::nullopt, base))
            return {Result::Kind::url, *url, status, {}};
        return {Result::Kind::failed, {}, status, QStringLiteral("no usable url in the answer")};
    }
    if (status == 404 || status == 405) return {Result::Kind::notYet, {}, status, {}};
    if (status == 401 || status == 403) return {Result::Kind::refused, {}, status, {}};
    return {Result::Kind::failed, {}, status, QStringLiteral("HTTP %1").arg(status)};
}

QCoro::Task<Result> request(QNetworkAccessManager& network, QString base, QString key,
                            std::optional<QString> next) {
    const QString root = Platform::clean(base);
    const QUrl url(root + QStringLiteral("/auth/app-session"), QUrl::StrictMode);
    if (key.isEmpty() || !url.isValid() || url.scheme().isEmpty())
        co_return Result{Result::Kind::failed, {}, 0, QStringLiteral("not signed in")};

    QNetworkRequest request(url);
    request.setRawHeader("Authorization", "Bearer " + key.toUtf8());
    request.setRawHeader("Content-Type", "application/json");
    request.setRawHeader("Accept", "application/json");
    request.setRawHeader("Origin", root.toUtf8());
    request.setRawHeader("User-Agent", API::userAgent);
    request.setTransferTimeout(int(std::chrono::duration_cast<std::chrono::milliseconds>(timeout).count()));
    // The process's manager has a cookie jar; this exchange keeps out of it both ways.
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    QJsonObject body{{QStringLiteral("client"), QStringLiteral("mac")}};
    if (next) body.insert(QStringLiteral("next"), *next);

    const std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> reply(
        network.post(request, QJsonDocument(body).toJson(QJsonDocument::Compact)),
        [](QNetworkReply* r) { r->deleteLater(); });
    co_await reply.get();
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        const APIError error(0, reply->errorString());
        co_return Result{Result::Kind::failed, {}, 0, error.errorDescription()};
    }
    co_return parse(status.toInt(), reply->readAll(), base);
}

} // namespace AppSession
