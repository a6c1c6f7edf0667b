#include "app/SingleCopy.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QLocalServer>
#include <QLocalSocket>
#include <unistd.h>

SingleCopy::SingleCopy() = default;
SingleCopy::~SingleCopy() = default;

bool SingleCopy::claim() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        const auto reply =
            bus.interface()->registerService(busName, QDBusConnectionInterface::DontQueueService,
                                             QDBusConnectionInterface::DontAllowReplacement);
        return reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered;
    }
    // No session bus (a bare server): a socket named for the user stands in for the bus name.
    const QString name = QStringLiteral("orvane-%1").arg(::getuid());
    QLocalSocket probe;
    probe.connectToServer(name);
    if (probe.waitForConnected(500)) return false;
    QLocalServer::removeServer(name);
    m_socket = std::make_unique<QLocalServer>();
    m_socket->setSocketOptions(QLocalServer::UserAccessOption);
    return m_socket->listen(name);
}
