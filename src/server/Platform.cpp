#include "server/Platform.h"

#include "core/Log.h"
#include "core/Strings.h"
#include "server/API.h"

#include <QJsonArray>
#include <QSet>

#include <QCryptographicHash>

namespace Platform {

QString clean(const QString& base) {
    return withoutTrailingSlashes(base);
}

bool isLocal(const QString& base) {
    return Workspace::isLocalBase(base);
}

QUuid projectID(const QString& base, const QString& slug) {
    const QByteArray name = QStringLiteral("orvane.project|%1|%2").arg(clean(base), slug).toUtf8();
    QByteArray bytes = QCryptographicHash::hash(name, QCryptographicHash::Sha256).left(16);
    bytes[6] = char((uchar(bytes[6]) & 0x0F) | 0x50);
    bytes[8] = char((uchar(bytes[8]) & 0x3F) | 0x80);
    return QUuid::fromRfc4122(bytes);
}

Workspace project(const QString& base, const QString& slug, const QString& name,
                  const std::optional<QString>& seat, bool appPaths) {
    const QString root = clean(base);
    const QString encoded = urlComponent(slug);
    const QString server = root + QStringLiteral("/app/p/") + encoded;
    const QString apiRoot =
        appPaths ? server + QStringLiteral("/api") : root + QStringLiteral("/api/v1/p/") + encoded;
    return {projectID(base, slug), name.isEmpty() ? slug : name, server, slug, seat, apiRoot};
}

std::optional<QUrl> resolve(const QString& text, const QString& base) {
    const QUrl asUrl(text, QUrl::StrictMode);
    if (asUrl.isValid() && !asUrl.scheme().isEmpty()) return asUrl;
    const QString path = text.startsWith(QLatin1Char('/')) ? text : QLatin1Char('/') + text;
    const QUrl under(clean(base) + path, QUrl::StrictMode);
    if (!under.isValid()) return std::nullopt;
    return under;
}

} // namespace Platform

namespace Platform {

QCoro::Task<QJsonObject> post(QNetworkAccessManager& network, QUrl url, QJsonObject body,
                              std::chrono::seconds timeout) {
    // An API without key and root on the URL's origin sends exactly the platform's headers.
    const API origin(network, url.adjusted(QUrl::RemovePath | QUrl::RemoveQuery).toString(), QString());
    QString path = url.path(QUrl::FullyEncoded);
    if (url.hasQuery()) path += QLatin1Char('?') + url.query(QUrl::FullyEncoded);
    co_return co_await origin.json("POST", path, QJsonValue(body), timeout);
}

std::optional<Account> parseMe(const QJsonObject& reply, const QString& base, bool appPaths) {
    const QJsonObject account = reply.value(QLatin1String("account")).toObject();
    const std::optional<QString> email = API::str(account.value(QLatin1String("email")));
    if (!email || email->isEmpty()) return std::nullopt;
    AccountInfo info{*email, std::nullopt, std::nullopt};
    if (const auto name = API::str(account.value(QLatin1String("name"))); name && !trimmed(*name).isEmpty())
        info.name = trimmed(*name);

    const QString root = clean(base);
    QString personal =
        root + (appPaths ? QStringLiteral("/app/api/platform/personal") : QStringLiteral("/api/v1/personal"));
    const QJsonValue callsUrl =
        reply.value(QLatin1String("personal")).toObject().value(QLatin1String("calls_url"));
    if (callsUrl.isString()) {
        if (const auto url = resolve(callsUrl.toString(), base)) {
            const QString text = url->toString(QUrl::FullyEncoded);
            personal = text.endsWith(QLatin1String("/calls")) ? text.chopped(6) : clean(text);
        }
    }
    info.personalRoot = personal;

    QList<Workspace> projects;
    QSet<QString> seen;
    for (const QJsonValue& item : reply.value(QLatin1String("projects")).toArray()) {
        const QJsonObject entry = item.toObject();
        const std::optional<QString> slug = API::str(entry.value(QLatin1String("slug")));
        if (!slug || slug->isEmpty() || seen.contains(*slug)) continue;
        seen.insert(*slug);
        const std::optional<QString> seat = API::str(entry.value(QLatin1String("seat")));
        const std::optional<QString> lowerSeat =
            seat ? std::optional<QString>(seat->toLower()) : std::nullopt;
        if (lowerSeat == QLatin1String("contact") || lowerSeat == QLatin1String("removed")) continue;
        projects.append(project(base, *slug, API::str(entry.value(QLatin1String("name"))).value_or(QString()),
                                lowerSeat, appPaths));
    }
    return Account{info, projects};
}

QCoro::Task<Account> me(QNetworkAccessManager& network, QString base, QString key) {
    using namespace std::chrono_literals;
    const API api(network, clean(base), key);
    const auto parsed = [&](const QJsonObject& reply, bool appPaths) {
        if (auto account = parseMe(reply, base, appPaths)) return *account;
        throw APIError(0, QStringLiteral("no account in /api/v1/me"));
    };
    // A coroutine cannot co_await inside a handler: the fall-back runs after it.
    try {
        co_return parsed(co_await api.json("GET", QStringLiteral("/api/v1/me"), std::nullopt, 20s), false);
    } catch (const APIError& e) {
        if (!e.isMissing() || !isLocal(base)) throw;
    }
    slog(QStringLiteral("me: /api/v1/me 404 on a local platform -> /app/api/platform/me (dev fallback)"));
    co_return parsed(co_await api.json("GET", QStringLiteral("/app/api/platform/me"), std::nullopt, 20s),
                     true);
}

} // namespace Platform
