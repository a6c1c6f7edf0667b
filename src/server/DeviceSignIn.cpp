#include "server/DeviceSignIn.h"

#include "core/Log.h"
#include "core/Strings.h"
#include "server/API.h"
#include "server/Platform.h"

#include <QCoroTimer>
#include <QDateTime>
#include <algorithm>

namespace Platform {
namespace {
using namespace std::chrono_literals;

const QString expiredText = QStringLiteral("The code expired. Click Sign in to get a new one.");

QJsonObject clientBody() {
    return {{QStringLiteral("client"), QStringLiteral("mac")},
            {QStringLiteral("name"), QStringLiteral("Orvane for Mac")}};
}

std::optional<QString> nonEmpty(const QJsonValue& v) {
    auto text = API::str(v);
    return text && !text->isEmpty() ? text : std::nullopt;
}

void throwIfCancelled(const CancelFlag& cancelled) {
    if (*cancelled) throw SignInCancelled();
}

QCoro::Task<> sleepSeconds(double seconds, CancelFlag cancelled) {
    co_await QCoro::sleepFor(std::chrono::milliseconds(qint64(seconds * 1000)));
    throwIfCancelled(cancelled);
}
} // namespace

std::optional<DeviceStart> parseStart(const QJsonObject& reply, const QString& base) {
    const auto device = nonEmpty(reply.value(QLatin1String("device_code")));
    const auto user = nonEmpty(reply.value(QLatin1String("user_code")));
    if (!device || !user) return std::nullopt;
    const QString verify =
        API::str(reply.value(QLatin1String("verify_url")))
            .value_or(API::str(reply.value(QLatin1String("verification_uri_complete")))
                          .value_or(QStringLiteral("/app/device?code=") + urlComponent(*user)));
    const auto url = resolve(verify, base);
    if (!url) return std::nullopt;
    const QJsonValue interval = reply.value(QLatin1String("interval")),
                     expires = reply.value(QLatin1String("expires_in"));
    return DeviceStart{*device, *user, *url,
                       std::clamp(interval.isDouble() ? interval.toDouble() : 3.0, 1.0, 30.0),
                       std::max(expires.isDouble() ? expires.toDouble() : 600.0, 30.0)};
}

PollResult parsePoll(const QJsonObject& reply) {
    const QString status = reply.value(QLatin1String("status")).toString();
    if (status == QLatin1String("ok") || status == QLatin1String("approved")) {
        const QJsonObject account = reply.value(QLatin1String("account")).toObject();
        const auto key = nonEmpty(reply.value(QLatin1String("key")));
        const auto email = nonEmpty(account.value(QLatin1String("email")));
        if (!key || !email)
            return Poll::Failed{QStringLiteral("the server approved the sign-in but sent no key")};
        std::optional<QString> name = API::str(account.value(QLatin1String("name")));
        if (name && trimmed(*name).isEmpty()) name.reset();
        return Poll::Ok{{*key, *email, name ? std::optional<QString>(trimmed(*name)) : std::nullopt}};
    }
    if (status.isEmpty() || status == QLatin1String("pending")) return Poll::Pending{};
    if (status == QLatin1String("expired")) return Poll::Expired{};
    if (status == QLatin1String("denied") || status == QLatin1String("rejected")) return Poll::Denied{};
    const QJsonValue error = reply.value(QLatin1String("error"));
    return Poll::Failed{error.isString() ? error.toString()
                                         : QStringLiteral("unexpected status \u201c%1\u201d").arg(status)};
}

QCoro::Task<Started> start(QNetworkAccessManager& network, QString base) {
    APIError pending(0, QStringLiteral("no device endpoint"));
    for (const QString& prefix : devicePaths) {
        const QUrl url(clean(base) + prefix + QStringLiteral("/start"), QUrl::StrictMode);
        if (!url.isValid()) continue;
        QJsonObject reply;
        bool moveOn = false;
        try {
            reply = co_await post(network, url, clientBody(), 20s);
        } catch (const APIError& e) {
            if (e.status != 404 && e.status != 405) throw;
            pending = e;
            moveOn = true;
        }
        if (moveOn) continue;
        if (auto parsed = parseStart(reply, base)) co_return Started{*parsed, prefix};
        throw APIError(0, QStringLiteral("the sign-in server sent no code"));
    }
    throw pending;
}

QCoro::Task<PollResult> poll(QNetworkAccessManager& network, QString base, QString prefix,
                             QString deviceCode) {
    const QUrl url(clean(base) + prefix + QStringLiteral("/poll"), QUrl::StrictMode);
    if (!url.isValid()) co_return Poll::Failed{QStringLiteral("bad server")};
    const QJsonObject body{{QStringLiteral("device_code"), deviceCode}};
    try {
        co_return parsePoll(co_await post(network, url, body, 20s));
    } catch (const APIError& e) {
        if (e.status == 403 && e.message.toLower().contains(QLatin1String("denied")))
            co_return Poll::Denied{};
        if (e.status == 410 || e.status == 404) co_return Poll::Expired{};
        throw;
    }
}

QCoro::Task<SignedInAccount> deviceFlow(QNetworkAccessManager& network, QString base,
                                        std::function<QCoro::Task<>(DeviceStart)> onCode,
                                        CancelFlag cancelled) {
    throwIfCancelled(cancelled);
    const Started started = co_await start(network, base);
    // Cancelled while the code was on its way: nobody waits for it any more, and no page opens.
    throwIfCancelled(cancelled);
    const DeviceStart& code = started.start;
    slog(QStringLiteral("sign-in: code %1 via %2/start, approve at %3")
             .arg(code.userCode, started.prefix, code.verifyURL.toString()));
    co_await onCode(code);
    // Never wait longer than fifteen minutes, whatever the server says.
    const QDateTime deadline =
        QDateTime::currentDateTimeUtc().addMSecs(qint64(std::min(code.expires, 900.0) * 1000));
    co_await sleepSeconds(code.interval, cancelled);
    for (;;) {
        if (QDateTime::currentDateTimeUtc() > deadline) throw SignInError(expiredText);
        std::optional<PollResult> result;
        try {
            result = co_await poll(network, base, started.prefix, code.deviceCode);
        } catch (const APIError& e) {
            // A network gap during the approval does not end the sign-in.
            slog(QStringLiteral("sign-in poll: ") + e.errorDescription());
        }
        throwIfCancelled(cancelled);
        if (result) {
            if (const auto* ok = std::get_if<Poll::Ok>(&*result)) co_return *ok;
            if (std::holds_alternative<Poll::Expired>(*result)) throw SignInError(expiredText);
            if (std::holds_alternative<Poll::Denied>(*result))
                throw SignInError(QStringLiteral("The sign-in was declined in the browser."));
            if (const auto* failed = std::get_if<Poll::Failed>(&*result)) throw SignInError(failed->message);
        }
        co_await sleepSeconds(code.interval, cancelled);
    }
}

} // namespace Platform
