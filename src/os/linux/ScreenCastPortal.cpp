#include "os/linux/ScreenCastPortal.h"

#include "os/ScreenSource.h"
#include "os/linux/PortalRequest.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QLoggingCategory>
#include <fcntl.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcScreenCast, "screencast")

namespace os {
namespace {

const QString interfaceName = QStringLiteral("org.freedesktop.portal.ScreenCast");
// The user may take a while to choose a monitor the first time; later shares answer at once.
constexpr std::chrono::minutes patience{3};

enum SourceType : uint { monitor = 1 };
enum CursorMode : uint { hidden = 1, embedded = 2 };
enum PersistMode : uint { untilRevoked = 2 };

[[noreturn]] void refuse(const portal::Response& response, const char* step) {
    if (response.code == portal::Response::cancelled)
        throw ScreenError("the screen share was declined in the desktop's dialog");
    throw ScreenError(std::string("the desktop's screen share failed at ") + step);
}

struct Stream {
    quint32 node = 0;
    QSize size;
};

// The first of the `streams` a Start answers with: a(ua{sv}), a node and its properties.
std::optional<Stream> firstStream(const QVariant& streams) {
    const QDBusArgument argument = streams.value<QDBusArgument>();
    if (argument.currentType() != QDBusArgument::ArrayType) return std::nullopt;
    std::optional<Stream> first;
    argument.beginArray();
    while (!argument.atEnd()) {
        Stream stream;
        QVariantMap properties;
        argument.beginStructure();
        argument >> stream.node >> properties;
        argument.endStructure();
        const QDBusArgument size = properties.value(QStringLiteral("size")).value<QDBusArgument>();
        if (size.currentType() == QDBusArgument::StructureType) {
            int width = 0;
            int height = 0;
            size.beginStructure();
            size >> width >> height;
            size.endStructure();
            stream.size = QSize(width, height);
        }
        if (!first) first = stream;
    }
    argument.endArray();
    return first;
}

} // namespace

bool ScreenCastPortal::available(const QDBusConnection& bus) {
    return portal::version(bus, interfaceName) > 0;
}

ScreenCastPortal::ScreenCastPortal(QDBusConnection bus) : m_bus(std::move(bus)) {}

ScreenCastPortal::~ScreenCastPortal() {
    close();
}

ScreenCastPortal::Share ScreenCastPortal::open(const QString& restoreToken) {
    close();
    const uint version = portal::version(m_bus, interfaceName);
    if (version == 0) throw ScreenError("the desktop offers no screen sharing (no ScreenCast portal)");

    const portal::Response created = portal::request(
        m_bus, interfaceName, QStringLiteral("CreateSession"), {},
        {{QStringLiteral("session_handle_token"), portal::token()}}, std::chrono::seconds(10));
    if (created.code != portal::Response::success) refuse(created, "its session");
    m_session = created.results.value(QStringLiteral("session_handle")).toString();

    QVariantMap select{{QStringLiteral("types"), uint(monitor)}, {QStringLiteral("multiple"), false}};
    // The cursor drawn into the frames where the desktop can; a frame without it still shows the screen.
    if (portal::property(m_bus, interfaceName, QStringLiteral("AvailableCursorModes")) & embedded)
        select.insert(QStringLiteral("cursor_mode"), uint(embedded));
    if (version >= 4) {
        select.insert(QStringLiteral("persist_mode"), uint(untilRevoked));
        if (!restoreToken.isEmpty()) select.insert(QStringLiteral("restore_token"), restoreToken);
    }
    const QVariantList session{QVariant::fromValue(QDBusObjectPath(m_session))};
    const portal::Response selected =
        portal::request(m_bus, interfaceName, QStringLiteral("SelectSources"), session, select, patience);
    if (selected.code != portal::Response::success) refuse(selected, "choosing the screen");

    const portal::Response started = portal::request(m_bus, interfaceName, QStringLiteral("Start"),
                                                     session + QVariantList{QString()}, {}, patience);
    if (started.code != portal::Response::success) refuse(started, "starting the share");
    const std::optional<Stream> stream = firstStream(started.results.value(QStringLiteral("streams")));
    if (!stream) throw ScreenError("the desktop's screen share gave no stream");

    QDBusMessage remote = QDBusMessage::createMethodCall(portal::service, portal::path, interfaceName,
                                                         QStringLiteral("OpenPipeWireRemote"));
    remote.setArguments(session + QVariantList{QVariantMap()});
    const QDBusMessage opened = m_bus.call(remote, QDBus::Block, 10000);
    const auto fd = opened.arguments().isEmpty()
                        ? QDBusUnixFileDescriptor()
                        : opened.arguments().first().value<QDBusUnixFileDescriptor>();
    if (opened.type() == QDBusMessage::ErrorMessage || !fd.isValid())
        throw ScreenError("the desktop gave no PipeWire connection: " + opened.errorMessage().toStdString());

    Share share;
    // The descriptor object closes its own copy.
    share.pipeWireFd = fcntl(fd.fileDescriptor(), F_DUPFD_CLOEXEC, 3);
    share.node = stream->node;
    share.size = stream->size;
    share.restoreToken = started.results.value(QStringLiteral("restore_token")).toString();
    qCInfo(lcScreenCast) << "sharing node" << share.node << share.size
                         << (restoreToken.isEmpty() ? "after asking" : "with a restore token");
    return share;
}

void ScreenCastPortal::close() {
    if (m_session.isEmpty()) return;
    m_bus.call(QDBusMessage::createMethodCall(portal::service, m_session,
                                              QStringLiteral("org.freedesktop.portal.Session"),
                                              QStringLiteral("Close")),
               QDBus::Block, 3000);
    m_session.clear();
}

} // namespace os
