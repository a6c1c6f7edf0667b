#include "server/API.h"

#include "core/Strings.h"
#include "core/Workspace.h"
#include "server/Platform.h"

#include <QBuffer>
#include <QCoroNetworkReply>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>
#include <memory>

namespace {
// The whole transfer, however slow, ends after an hour.
constexpr std::chrono::seconds resourceTimeout{3600};
} // namespace

API::API(QNetworkAccessManager& network, const QString& server, QString key,
         const std::optional<QString>& apiRoot)
    : m_network(&network), m_server(withoutTrailingSlashes(server)), m_key(std::move(key)) {
    if (apiRoot) m_apiRoot = withoutTrailingSlashes(*apiRoot);
}

QUrl API::url(const QString& path) const {
    if (m_apiRoot && path.startsWith(QLatin1String("/api/")))
        return QUrl(*m_apiRoot + path.mid(4), QUrl::StrictMode);
    return QUrl(m_server + path, QUrl::StrictMode);
}

QNetworkRequest API::request(const QString& path, const std::optional<QByteArray>& contentType,
                             Seconds timeout) const {
    QNetworkRequest r(url(path));
    r.setTransferTimeout(int(std::chrono::milliseconds(timeout).count()));
    if (!m_key.isEmpty()) r.setRawHeader("Authorization", "Bearer " + m_key.toUtf8());
    if (contentType) r.setRawHeader("Content-Type", *contentType);
    r.setRawHeader("Accept", "application/json");
    r.setRawHeader("User-Agent", userAgent);
    return r;
}

std::unique_ptr<QNetworkAccessManager> API::makeNetwork() {
    auto network = std::make_unique<QNetworkAccessManager>();
    network->setTransferTimeout(90'000);
    network->setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy);
    return network;
}

QCoro::Task<QJsonObject> API::send(QNetworkRequest request, QByteArray method, QIODevice* body) const {
    // The coroutine resumes inside the reply's own finished signal: the reply may only go later.
    const std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> reply(
        m_network->sendCustomRequest(request, method, body), [](QNetworkReply* r) { r->deleteLater(); });
    QTimer::singleShot(resourceTimeout, reply.get(), &QNetworkReply::abort);
    co_await reply.get();
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) throw APIError(0, reply->errorString());
    co_return check(reply->readAll(), status.toInt(), reply->url());
}

QCoro::Task<QJsonObject> API::json(QByteArray method, QString path, std::optional<QJsonValue> body,
                                   std::optional<Seconds> timeout) const {
    QBuffer payload;
    if (body) {
        if (!body->isObject() && !body->isArray())
            throw APIError(0, QStringLiteral("the request body is not a JSON object or list"));
        payload.setData(body->isObject() ? QJsonDocument(body->toObject()).toJson(QJsonDocument::Compact)
                                         : QJsonDocument(body->toArray()).toJson(QJsonDocument::Compact));
        payload.open(QIODevice::ReadOnly);
    }
    const QNetworkRequest r =
        request(path, body ? std::optional<QByteArray>("application/json") : std::nullopt,
                timeout.value_or(requestTimeout));
    co_return co_await send(r, method, body ? &payload : nullptr);
}

QCoro::Task<QJsonObject> API::upload(QByteArray method, QString path, QString file,
                                     QByteArray contentType) const {
    QFile body(file);
    if (!body.open(QIODevice::ReadOnly))
        throw APIError(0, QStringLiteral("cannot read %1: %2").arg(file, body.errorString()));
    co_return co_await send(request(path, contentType), method, &body);
}

QJsonObject API::check(const QByteArray& data, int status, const QUrl& finalUrl) {
    // A login page of the access proxy arrives with 200; only its address gives it away.
    if (finalUrl.host().endsWith(Platform::accessLoginDomain))
        throw APIError(403, QStringLiteral("the server sent the browser login (Cloudflare Access) instead of "
                                           "answering the app"));
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(data, &error);
    const bool parsed = error.error == QJsonParseError::NoError;
    if (status < 200 || status > 299) {
        const QJsonValue text = doc.object().value(QLatin1String("error"));
        throw APIError(status, parsed && text.isString() ? text.toString() : httpStatusPhrase(status));
    }
    if (parsed && doc.isObject()) return doc.object();
    if (parsed && doc.isArray()) return QJsonObject{{QStringLiteral("items"), doc.array()}};
    const QString host = finalUrl.host();
    throw APIError(status, QStringLiteral("unexpected response (not JSON) from ") +
                               (host.isEmpty() ? QStringLiteral("server") : host));
}

std::optional<QString> API::str(const QJsonValue& value) {
    if (value.isString()) return value.toString();
    if (value.isDouble()) {
        const double d = value.toDouble();
        if (d == double(qint64(d))) return QString::number(qint64(d));
        return QString::number(d, 'g', 17);
    }
    return std::nullopt;
}

// --- Endpoints

QCoro::Task<QString> API::me() const {
    const QJsonObject reply = co_await json("GET", QStringLiteral("/api/me"));
    const QJsonValue name = reply.value(QLatin1String("ego")).toObject().value(QLatin1String("name"));
    if (!name.isString()) throw APIError(0, QStringLiteral("no ego in /api/me"));
    co_return name.toString();
}

QCoro::Task<QList<Todo>> API::todos() const {
    const QJsonObject reply = co_await json("GET", QStringLiteral("/api/my/todos"));
    co_return Todo::list(reply.value(QLatin1String("items")));
}

QCoro::Task<> API::startTodo(QString id) const {
    co_await json("POST", QStringLiteral("/api/my/todos/%1/start").arg(urlComponent(id)));
}

QCoro::Task<> API::finishTodo(QString id) const {
    co_await json("POST", QStringLiteral("/api/my/todos/%1/finish").arg(urlComponent(id)));
}

QCoro::Task<> API::uploadWorkday(QString day, QJsonArray spans) const {
    // Bodies are built before the co_await: g++ 12 miscompiles braced literals inside one.
    const QJsonObject body{{QStringLiteral("day"), day}, {QStringLiteral("spans"), spans}};
    co_await json("POST", QStringLiteral("/api/workday"), body);
}

QCoro::Task<QString> API::startWrap(QString day) const {
    const QJsonObject body{{QStringLiteral("day"), day}};
    const QJsonObject reply = co_await json("POST", QStringLiteral("/api/workday/wrap"), body);
    const QJsonValue status = reply.value(QLatin1String("status"));
    co_return status.isString() ? status.toString() : QStringLiteral("running");
}

QCoro::Task<WrapStatus> API::wrapStatus(QString day) const {
    co_return WrapStatus::from(
        co_await json("GET", QStringLiteral("/api/workday/wrap?day=") + urlComponent(day)));
}

QCoro::Task<std::optional<QString>> API::createTask(QString title, std::optional<QString> notes) const {
    QJsonObject body{{QStringLiteral("title"), title}};
    if (notes && !notes->isEmpty()) body.insert(QStringLiteral("notes"), *notes);
    const QJsonObject reply = co_await json("POST", QStringLiteral("/api/tasks"), body);
    if (auto id = str(reply.value(QLatin1String("id")))) co_return id;
    co_return str(reply.value(QLatin1String("task")).toObject().value(QLatin1String("id")));
}

QCoro::Task<QJsonObject> API::callDetail(QString id) const {
    co_return co_await json("GET", QStringLiteral("/api/calls/") + urlComponent(id));
}

QCoro::Task<CoachReply> API::coachLive(QJsonObject body) const {
    const QJsonObject reply = co_await json("POST", QStringLiteral("/api/coach/live"), body);
    co_return CoachReply::from(reply);
}

QCoro::Task<API::RouteScore> API::routeScore(QString title, QString app, QList<QString> participants,
                                             QString text) const {
    using namespace std::chrono_literals;
    const QJsonObject body{{QStringLiteral("title"), title},
                           {QStringLiteral("app"), app},
                           {QStringLiteral("participants"), QJsonArray::fromStringList(participants)},
                           {QStringLiteral("text"), text}};
    const QJsonObject reply = co_await json("POST", QStringLiteral("/api/route/score"), body, 25s);
    RouteScore result;
    const QJsonValue score = reply.value(QLatin1String("score"));
    bool readable = score.isDouble();
    result.score = readable ? score.toDouble() : score.toString().toDouble(&readable);
    if (!readable) result.score = 0;
    for (const QJsonValue& reason : reply.value(QLatin1String("reasons")).toArray())
        if (auto text = str(reason)) result.reasons.append(*text);
    co_return result;
}
