#pragma once

#include "server/APIError.h"
#include "server/LiveTip.h"
#include "server/Todo.h"
#include "server/WrapStatus.h"

#include <QByteArray>
#include <QCoroTask>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QNetworkRequest>
#include <QString>
#include <QUrl>
#include <chrono>
#include <memory>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;

// The HTTP client of one destination: a project, Personal or a legacy workspace. Immutable; every call is a
// coroutine on the main thread, and every failure reaches the caller as APIError.
class API {
public:
    using Seconds = std::chrono::seconds;
    static inline const QByteArray userAgent = QByteArrayLiteral("Orvane-mac/1.0");
    static constexpr Seconds requestTimeout{60};

    // Every API of the process sends through one network manager, owned by whoever builds the services.
    API(QNetworkAccessManager& network, const QString& server, QString key,
        const std::optional<QString>& apiRoot = std::nullopt);
    // A manager with the client's transfer timeout and redirect rule.
    static std::unique_ptr<QNetworkAccessManager> makeNetwork();

    const QString& server() const { return m_server; }
    const QString& key() const { return m_key; }
    const std::optional<QString>& apiRoot() const { return m_apiRoot; }
    // Where calls go: the API root when there is one, else the server.
    const QString& endpoint() const { return m_apiRoot ? *m_apiRoot : m_server; }

    // With an API root, "/api/x" becomes apiRoot + "/x"; every other path is appended to the server.
    QUrl url(const QString& path) const;
    // The request with its headers in order: Authorization (with a key), Content-Type (when given), Accept,
    // User-Agent.
    QNetworkRequest request(const QString& path, const std::optional<QByteArray>& contentType = std::nullopt,
                            Seconds timeout = requestTimeout) const;

    // A JSON call; the body goes as application/json when given. The reply's object, through `check`.
    QCoro::Task<QJsonObject> json(QByteArray method, QString path,
                                  std::optional<QJsonValue> body = std::nullopt,
                                  std::optional<Seconds> timeout = std::nullopt) const;
    // Streams the file as the request body, never holding it whole in memory.
    QCoro::Task<QJsonObject> upload(QByteArray method, QString path, QString file,
                                    QByteArray contentType) const;

    // Endpoints.
    QCoro::Task<QString> me() const;
    QCoro::Task<QList<Todo>> todos() const;
    QCoro::Task<> startTodo(QString id) const;
    QCoro::Task<> finishTodo(QString id) const;
    QCoro::Task<> uploadWorkday(QString day, QJsonArray spans) const;
    QCoro::Task<QString> startWrap(QString day) const;
    QCoro::Task<WrapStatus> wrapStatus(QString day) const;
    QCoro::Task<std::optional<QString>> createTask(QString title, std::optional<QString> notes) const;
    QCoro::Task<QJsonObject> callDetail(QString id) const;
    // The new text of a running recording; the body is built by the live tips.
    QCoro::Task<CoachReply> coachLive(QJsonObject body) const;

    struct RouteScore {
        double score = 0; // as sent; the router clamps it
        QList<QString> reasons;
    };
    QCoro::Task<RouteScore> routeScore(QString title, QString app, QList<QString> participants,
                                       QString text) const;

    // The reply rules: the access-proxy login page first, then the status, then JSON (a list arrives under
    // "items").
    static QJsonObject check(const QByteArray& data, int status, const QUrl& finalUrl);
    // A string stays, a number becomes its decimal text, anything else is nothing.
    static std::optional<QString> str(const QJsonValue& value);

    bool operator==(const API&) const = default;

private:
    QCoro::Task<QJsonObject> send(QNetworkRequest request, QByteArray method, QIODevice* body) const;

    QNetworkAccessManager* m_network;
    QString m_server;
    QString m_key;
    std::optional<QString> m_apiRoot;
};
