#include "app/SingleCopy.h"

#include "core/Log.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>
#include <QtEndian>
#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

using Clock = std::chrono::steady_clock;

namespace {

const QString applicationInterface = QStringLiteral("org.freedesktop.Application");

int msecsLeft(Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return int(std::max<qint64>(left.count(), 0));
}

// Between attempts while the other copy comes up or goes away.
void waitBeforeRetry() {
    QThread::msleep(50);
}

// The socket carries one request a connection: a 4-byte big-endian length, then that many bytes of JSON
// {"links": [...], "platform-data": {...}}. The copy answers one byte once it has kept the request.
namespace wire {
constexpr quint32 headerBytes = 4;
// Far more than any start's arguments; a larger length is a stranger's, not ours.
constexpr quint32 maxBytes = 1 << 20;
constexpr char kept = 'k';

QByteArray encode(const StartRequest& request) {
    const QByteArray json =
        QJsonDocument(
            QJsonObject{
                {QStringLiteral("links"), QJsonArray::fromStringList(request.links)},
                {QStringLiteral("platform-data"), QJsonObject::fromVariantMap(request.platformData)},
            })
            .toJson(QJsonDocument::Compact);
    QByteArray frame(headerBytes, '\0');
    qToBigEndian(quint32(json.size()), frame.data());
    return frame + json;
}

std::optional<StartRequest> decode(const QByteArray& json) {
    const QJsonDocument doc = QJsonDocument::fromJson(json);
    const QJsonValue links = doc[QStringLiteral("links")];
    if (!doc.isObject() || !links.isArray()) return std::nullopt;
    StartRequest request;
    for (const QJsonValue link : links.toArray()) {
        if (!link.isString()) return std::nullopt;
        request.links.append(link.toString());
    }
    request.platformData = doc[QStringLiteral("platform-data")].toObject().toVariantMap();
    return request;
}
} // namespace wire

bool handOverOnSocket(const StartRequest& request, Clock::time_point deadline) {
    QLocalSocket socket;
    socket.connectToServer(SingleCopy::socketPath());
    if (!socket.waitForConnected(msecsLeft(deadline))) return false;
    socket.write(wire::encode(request));
    if (!socket.waitForBytesWritten(msecsLeft(deadline))) return false;
    while (socket.bytesAvailable() < 1)
        if (!socket.waitForReadyRead(msecsLeft(deadline))) return false;
    return socket.read(1) == QByteArray(1, wire::kept);
}

bool handOverOnBus(QDBusConnection& bus, const StartRequest& request, Clock::time_point deadline) {
    QDBusMessage call;
    if (request.links.isEmpty()) {
        call = QDBusMessage::createMethodCall(SingleCopy::busName, SingleCopy::objectPath,
                                              applicationInterface, QStringLiteral("Activate"));
        call << request.platformData;
    } else {
        call = QDBusMessage::createMethodCall(SingleCopy::busName, SingleCopy::objectPath,
                                              applicationInterface, QStringLiteral("Open"));
        call << request.links << request.platformData;
    }
    return bus.call(call, QDBus::Block, msecsLeft(deadline)).type() == QDBusMessage::ReplyMessage;
}

} // namespace

StartRequest StartRequest::fromStart(const QStringList& args, const QProcessEnvironment& env) {
    StartRequest request;
    for (const QString& arg : args)
        if (isLink(arg)) request.links.append(arg);
    if (const QString token = env.value(QStringLiteral("XDG_ACTIVATION_TOKEN")); !token.isEmpty())
        request.platformData.insert(QStringLiteral("activation-token"), token);
    if (const QString id = env.value(QStringLiteral("DESKTOP_STARTUP_ID")); !id.isEmpty())
        request.platformData.insert(QStringLiteral("desktop-startup-id"), id);
    return request;
}

bool StartRequest::isLink(const QString& arg) {
    return arg.startsWith(QLatin1String("orvane:"), Qt::CaseInsensitive);
}

QString StartRequest::token() const {
    const QString token = platformData.value(QStringLiteral("activation-token")).toString();
    return token.isEmpty() ? platformData.value(QStringLiteral("desktop-startup-id")).toString() : token;
}

// org.freedesktop.Application at the copy's object: what desktops and launchers call on a running program.
class ApplicationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")
public:
    explicit ApplicationAdaptor(SingleCopy& copy) : QDBusAbstractAdaptor(&copy), m_copy(copy) {}

public slots:
    void Activate(const QVariantMap& platformData) { m_copy.receive({{}, platformData}); }
    void Open(const QStringList& uris, const QVariantMap& platformData) {
        m_copy.receive({uris, platformData});
    }
    void ActivateAction(const QString& name, const QVariantList&, const QVariantMap&) {
        slog(QStringLiteral("single copy: no action %1; ignored").arg(name));
    }

private:
    SingleCopy& m_copy;
};

SingleCopy::SingleCopy() = default;

SingleCopy::~SingleCopy() {
    if (m_lock >= 0) ::close(m_lock);
}

QString SingleCopy::socketPath() {
    return QDir(QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation)).filePath(busName);
}

SingleCopy::Claim SingleCopy::claim(const StartRequest& start, std::chrono::milliseconds patience) {
    const Clock::time_point deadline = Clock::now() + patience;
    QDBusConnection bus = QDBusConnection::sessionBus();
    std::optional<Claim> claimed;
    if (bus.isConnected()) claimed = claimOnBus(bus, start, deadline);
    // No session bus (a bare server), or one that refuses the name: the socket stands in for it.
    if (!claimed) claimed = claimSocket(start, deadline);
    // The start's own links open once the application is up, as another start's would.
    if (*claimed == Claim::Ours && !start.links.isEmpty()) receive(start);
    return *claimed;
}

std::optional<SingleCopy::Claim> SingleCopy::claimOnBus(QDBusConnection& bus, const StartRequest& start,
                                                        Clock::time_point deadline) {
    // The object is there before the name, so whoever sees the name can call it.
    auto* adaptor = new ApplicationAdaptor(*this);
    const auto withdraw = [&] {
        bus.unregisterObject(objectPath);
        delete adaptor;
    };
    if (!bus.registerObject(objectPath, this, QDBusConnection::ExportAdaptors)) {
        std::fprintf(stderr, "[Orvane] cannot export %s on the session bus\n", qPrintable(objectPath));
        withdraw();
        return std::nullopt;
    }
    do {
        const auto reply =
            bus.interface()->registerService(busName, QDBusConnectionInterface::DontQueueService,
                                             QDBusConnectionInterface::DontAllowReplacement);
        if (!reply.isValid()) {
            std::fprintf(stderr, "[Orvane] the session bus refuses %s: %s\n", qPrintable(busName),
                         qPrintable(reply.error().message()));
            withdraw();
            return std::nullopt;
        }
        if (reply.value() == QDBusConnectionInterface::ServiceRegistered) return Claim::Ours;
        // Another copy holds the name; a failed call means it is going away, so the name may be free next.
        if (handOverOnBus(bus, start, deadline)) {
            withdraw();
            return Claim::HandedOver;
        }
        waitBeforeRetry();
    } while (Clock::now() < deadline);
    withdraw();
    return Claim::Unanswered;
}

SingleCopy::Claim SingleCopy::claimSocket(const StartRequest& start, Clock::time_point deadline) {
    // The lock decides who owns the socket: the kernel drops it with its process, so a crashed copy's socket
    // file is known to be stale. Two starts at once can't both remove and re-create the socket.
    const QByteArray lockPath = QFile::encodeName(socketPath() + QStringLiteral(".lock"));
    m_lock = ::open(lockPath.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_lock < 0) {
        std::fprintf(stderr, "[Orvane] cannot open %s; running without the single-copy check\n",
                     lockPath.constData());
        listen();
        return Claim::Ours;
    }
    do {
        if (::flock(m_lock, LOCK_EX | LOCK_NB) == 0) {
            listen();
            return Claim::Ours;
        }
        // The holder may still be coming up, its socket not yet listening.
        if (handOverOnSocket(start, deadline)) return Claim::HandedOver;
        waitBeforeRetry();
    } while (Clock::now() < deadline);
    return Claim::Unanswered;
}

void SingleCopy::listen() {
    const QString path = socketPath();
    QLocalServer::removeServer(path);
    m_server = std::make_unique<QLocalServer>();
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(path)) {
        slog(QStringLiteral("single copy: cannot listen on %1: %2").arg(path, m_server->errorString()));
        return;
    }
    connect(m_server.get(), &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_server->nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readRequest(*socket); });
        }
    });
}

void SingleCopy::readRequest(QLocalSocket& socket) {
    if (socket.bytesAvailable() < wire::headerBytes) return;
    const quint32 length = qFromBigEndian<quint32>(socket.peek(wire::headerBytes).constData());
    if (length > wire::maxBytes) {
        slog(QStringLiteral("single copy: a request of %1 bytes on the socket; dropped").arg(length));
        socket.abort();
        return;
    }
    if (socket.bytesAvailable() < wire::headerBytes + length) return;
    socket.skip(wire::headerBytes);
    const std::optional<StartRequest> request = wire::decode(socket.read(length));
    if (!request) {
        slog(QStringLiteral("single copy: an unreadable request on the socket; dropped"));
        socket.abort();
        return;
    }
    receive(*request);
    socket.write(QByteArray(1, wire::kept));
    socket.disconnectFromServer();
}

void SingleCopy::receive(StartRequest request) {
    if (m_ready)
        deliver(request);
    else
        m_waiting.push_back(std::move(request));
}

void SingleCopy::ready() {
    m_ready = true;
    for (const StartRequest& request : std::exchange(m_waiting, {}))
        deliver(request);
}

void SingleCopy::deliver(const StartRequest& request) {
    if (request.links.isEmpty())
        emit activated(request.token());
    else
        emit opened(request.links, request.token());
}

#include "SingleCopy.moc"
