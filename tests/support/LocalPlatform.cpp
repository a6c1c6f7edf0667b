#include "LocalPlatform.h"

#include <QBuffer>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QRegularExpression>
#include <QTimer>
#include <csignal>
#include <sys/prctl.h>

namespace {
constexpr std::chrono::seconds startTimeout{15};
constexpr std::chrono::seconds controlTimeout{10};
} // namespace

LocalPlatform::LocalPlatform(Routes routes) {
    QStringList arguments{QStringLiteral("--port"),    QStringLiteral("0"),      QStringLiteral("--bind"),
                          QStringLiteral("127.0.0.1"), QStringLiteral("--data"), m_data.path()};
    if (routes == Routes::AppPathsOnly) arguments << QStringLiteral("--app-paths");
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // A test that dies or times out takes its server with it.
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_process.start(QStringLiteral(ORVANE_LOCALPLATFORM), arguments);

    // The first line names the port the server chose.
    const QDeadlineTimer deadline(startTimeout);
    while (!m_process.canReadLine() && m_process.state() != QProcess::NotRunning && !deadline.hasExpired())
        m_process.waitForReadyRead(int(deadline.remainingTime()));
    const QString line = QString::fromUtf8(m_process.readLine()).trimmed();
    const QRegularExpressionMatch match =
        QRegularExpression(QStringLiteral("^listening on http://127\\.0\\.0\\.1:(\\d+)$")).match(line);
    if (match.hasMatch())
        m_port = match.captured(1).toInt();
    else
        m_error = QStringLiteral("%1 did not start (%2): \"%3\"")
                      .arg(QStringLiteral(ORVANE_LOCALPLATFORM), m_process.errorString(), line);
}

LocalPlatform::~LocalPlatform() {
    if (m_process.state() == QProcess::NotRunning) return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
}

QString LocalPlatform::base() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(m_port);
}

LocalPlatform::ControlReply LocalPlatform::control(const QByteArray& method, const QString& path,
                                                   const QJsonObject& body) {
    QNetworkAccessManager network;
    QNetworkRequest request(url(path));
    request.setTransferTimeout(int(std::chrono::milliseconds(controlTimeout).count()));
    QBuffer payload;
    if (method != "GET") {
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
        payload.setData(QJsonDocument(body).toJson(QJsonDocument::Compact));
        payload.open(QIODevice::ReadOnly);
    }
    QNetworkReply* reply = network.sendCustomRequest(request, method, method != "GET" ? &payload : nullptr);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    ControlReply result{reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->readAll()};
    delete reply;
    return result;
}

bool LocalPlatform::fault(const Fault& fault) {
    const QJsonObject body{{QStringLiteral("method"), fault.method},
                           {QStringLiteral("path"), fault.path},
                           {QStringLiteral("status"), fault.status},
                           {QStringLiteral("body"), QString::fromUtf8(fault.body)},
                           {QStringLiteral("content_type"), QString::fromUtf8(fault.contentType)},
                           {QStringLiteral("delay_ms"), qint64(fault.delay.count())},
                           {QStringLiteral("count"), fault.count},
                           {QStringLiteral("hold_until"), fault.holdUntil}};
    return control("POST", QStringLiteral("/__control/fault"), body).status == 200;
}

bool LocalPlatform::approve(const QString& userCode, const QString& email) {
    QJsonObject body{{QStringLiteral("user_code"), userCode}};
    if (!email.isEmpty()) body.insert(QStringLiteral("email"), email);
    return control("POST", QStringLiteral("/__control/device/approve"), body).status == 200;
}

bool LocalPlatform::deny(const QString& userCode) {
    return control("POST", QStringLiteral("/__control/device/deny"),
                   {{QStringLiteral("user_code"), userCode}})
               .status == 200;
}

bool LocalPlatform::setGeneration(const QString& generation) {
    return control("POST", QStringLiteral("/__control/generation"),
                   {{QStringLiteral("generation"), generation}})
               .status == 200;
}

bool LocalPlatform::reset() {
    return control("POST", QStringLiteral("/__control/reset")).status == 200;
}

QJsonArray LocalPlatform::requests() {
    return QJsonDocument::fromJson(control("GET", QStringLiteral("/__control/requests")).body).array();
}

bool LocalPlatform::setCoach(const QJsonObject& settings) {
    return control("POST", QStringLiteral("/__control/coach"), settings).status == 200;
}

bool LocalPlatform::closePersonal(bool closed) {
    return control("POST", QStringLiteral("/__control/personal"), {{QStringLiteral("closed"), closed}})
               .status == 200;
}

bool LocalPlatform::closePersonalTasks(bool closed) {
    return control("POST", QStringLiteral("/__control/personal-tasks"), {{QStringLiteral("closed"), closed}})
               .status == 200;
}

bool LocalPlatform::reviewDelay(std::chrono::milliseconds delay) {
    return control("POST", QStringLiteral("/__control/review"),
                   {{QStringLiteral("delay_ms"), qint64(delay.count())}})
               .status == 200;
}

QJsonArray LocalPlatform::calls() {
    return QJsonDocument::fromJson(control("GET", QStringLiteral("/__control/calls")).body).array();
}

bool LocalPlatform::scriptWrap(const WrapScript& script) {
    QJsonObject body{{QStringLiteral("outcome"), script.outcome},
                     {QStringLiteral("after"), script.after},
                     {QStringLiteral("highlights"), script.highlights}};
    if (script.error) body.insert(QStringLiteral("error"), *script.error);
    return control("POST", QStringLiteral("/__control/wrap"), body).status == 200;
}

QJsonArray LocalPlatform::todos(const QString& scope) {
    return QJsonDocument::fromJson(
               control("GET", QStringLiteral("/__control/todos?scope=") + QUrl::toPercentEncoding(scope))
                   .body)
        .array();
}

QJsonArray LocalPlatform::webSessions() {
    return QJsonDocument::fromJson(control("GET", QStringLiteral("/__control/web-sessions")).body).array();
}
