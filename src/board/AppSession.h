#pragma once

#include <QByteArray>
#include <QCoroTask>
#include <QString>
#include <QUrl>
#include <chrono>
#include <optional>

class QNetworkAccessManager;

// The trade of the app's account key for a one-time web login, so the board window never asks for a
// password. Sent without cookies: the exchange neither reads nor writes the window's web session.
namespace AppSession {

struct Result {
    enum class Kind {
        url,     // the checked one-time login address
        notYet,  // the server has no such endpoint yet (404, 405)
        refused, // the key is refused (401, 403)
        failed,  // anything else, with a text for the log
    };
    Kind kind = Kind::failed;
    QUrl url;
    int status = 0;
    QString text;

    bool operator==(const Result&) const = default;
};

inline constexpr std::chrono::seconds timeout{15};

Result parse(int status, const QByteArray& data, const QString& base);
// `next`: the path and query the login should land on.
QCoro::Task<Result> request(QNetworkAccessManager& network, QString base, QString key,
                            std::optional<QString> next);

} // namespace AppSession
