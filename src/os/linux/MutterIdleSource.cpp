#include "os/linux/MutterIdleSource.h"

#include <QDBusMessage>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcMutterIdle, "idle.mutter")

namespace os {

MutterIdleSource::MutterIdleSource(QDBusConnection bus, QString service)
    : m_bus(std::move(bus)), m_service(std::move(service)) {}

std::optional<double> MutterIdleSource::idleSeconds() {
    const QDBusMessage call = QDBusMessage::createMethodCall(
        m_service, QStringLiteral("/org/gnome/Mutter/IdleMonitor/Core"),
        QStringLiteral("org.gnome.Mutter.IdleMonitor"), QStringLiteral("GetIdletime"));
    const QDBusMessage reply = m_bus.call(call, QDBus::Block, timeoutMs);
    const QList<QVariant> arguments = reply.arguments();
    if (reply.type() == QDBusMessage::ReplyMessage && arguments.size() == 1 &&
        arguments.first().metaType() == QMetaType::fromType<qulonglong>()) {
        m_saidFailure = false;
        return arguments.first().toULongLong() / 1000.0;
    }
    if (!m_saidFailure) {
        const QString why = reply.type() == QDBusMessage::ErrorMessage
                                ? reply.errorMessage()
                                : QStringLiteral("an answer that is not one uint64: ") + reply.signature();
        qCWarning(lcMutterIdle).noquote()
            << "GNOME's idle monitor" << m_service << "gave no idle time:" << why;
        m_saidFailure = true;
    }
    return std::nullopt;
}

} // namespace os
