#pragma once

#include <QCoroTask>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <variant>

class QNetworkAccessManager;

// The platform's device-code sign-in: a short code, an approval in the browser, a key for the account.

struct DeviceStart {
    QString deviceCode;
    QString userCode;
    QUrl verifyURL;
    double interval = 3;  // seconds between polls, 1 to 30
    double expires = 600; // lifetime of the code, at least 30

    bool operator==(const DeviceStart&) const = default;
};

struct SignedInAccount {
    QString key;
    QString email;
    std::optional<QString> name;

    bool operator==(const SignedInAccount&) const = default;
};

// One answer of the poll.
namespace Poll {
struct Ok : SignedInAccount {};
struct Failed {
    QString message;
    bool operator==(const Failed&) const = default;
};
struct Pending {
    bool operator==(const Pending&) const = default;
};
struct Expired {
    bool operator==(const Expired&) const = default;
};
struct Denied {
    bool operator==(const Denied&) const = default;
};
} // namespace Poll
using PollResult = std::variant<Poll::Ok, Poll::Failed, Poll::Pending, Poll::Expired, Poll::Denied>;

// A failure the user reads as it stands.
struct SignInError : std::runtime_error {
    explicit SignInError(const QString& message)
        : std::runtime_error(message.toStdString()), message(message) {}
    QString message;
};

// The flow was cancelled; it ends at its next sleep or request and changes nothing.
struct SignInCancelled : std::exception {};

// Set by whoever cancels; the flow looks at it before each request and after each sleep.
using CancelFlag = std::shared_ptr<bool>;

namespace Platform {

// The route prefixes, in the order they are tried.
inline const QStringList devicePaths = {QStringLiteral("/device"),
                                        QStringLiteral("/app/api/platform/device")};

std::optional<DeviceStart> parseStart(const QJsonObject& reply, const QString& base);
PollResult parsePoll(const QJsonObject& reply);

struct Started {
    DeviceStart start;
    QString prefix;
};
QCoro::Task<Started> start(QNetworkAccessManager& network, QString base);
QCoro::Task<PollResult> poll(QNetworkAccessManager& network, QString base, QString prefix,
                             QString deviceCode);
// Starts, hands the code over, and polls until the approval, a refusal, the deadline or a cancellation.
QCoro::Task<SignedInAccount> deviceFlow(QNetworkAccessManager& network, QString base,
                                        std::function<QCoro::Task<>(DeviceStart)> onCode,
                                        CancelFlag cancelled);

} // namespace Platform
