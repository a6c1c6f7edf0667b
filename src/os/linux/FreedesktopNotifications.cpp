#include "os/linux/FreedesktopNotifications.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcNotifications, "notifications.dbus")

namespace os {
namespace {

const QString interfaceName = FreedesktopNotifications::service;
// The action key that servers invoke when the notification itself is clicked.
const QString defaultAction = QStringLiteral("default");

} // namespace

FreedesktopNotifications::FreedesktopNotifications(QDBusConnection bus, QObject* parent)
    : Notifications(parent), m_bus(std::move(bus)) {
    // The signals go to every client of the service; onActionInvoked keeps to the ids posted here.
    m_bus.connect(service, path, interfaceName, QStringLiteral("ActionInvoked"), this,
                  SLOT(onActionInvoked(uint, QString)));
    m_bus.connect(service, path, interfaceName, QStringLiteral("NotificationClosed"), this,
                  SLOT(onClosed(uint, uint)));
}

bool FreedesktopNotifications::available() {
    if (!m_bus.isConnected()) return false;
    QDBusConnectionInterface* bus = m_bus.interface();
    return bus->isServiceRegistered(service).value() ||
           bus->activatableServiceNames().value().contains(service);
}

void FreedesktopNotifications::post(const Notification& notification) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, interfaceName, QStringLiteral("Notify"));
    const QVariantMap hints{{QStringLiteral("desktop-entry"), desktopEntry}};
    call << QStringLiteral("Orvane") << shownId(notification.id) << QString() << notification.title
         << notification.body << QStringList{defaultAction, QStringLiteral("Open")} << hints << qint32(-1);

    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, notification](QDBusPendingCallWatcher* w) {
                w->deleteLater();
                const QDBusPendingReply<uint> reply = *w;
                if (reply.isError()) {
                    qCWarning(lcNotifications).noquote()
                        << "Notify" << notification.id << "failed:" << reply.error().name()
                        << reply.error().message();
                    return;
                }
                // A server may answer a replacement with a new id: keep one entry per notification.
                m_shown.remove(shownId(notification.id));
                m_shown.insert(reply.value(), notification);
            });
}

void FreedesktopNotifications::onActionInvoked(uint serverId, const QString& action) {
    const auto it = m_shown.constFind(serverId);
    if (it == m_shown.cend() || action != defaultAction) return;
    emit clicked(it->id, it->userInfo);
}

void FreedesktopNotifications::onClosed(uint serverId, uint) {
    m_shown.remove(serverId);
}

uint FreedesktopNotifications::shownId(const QString& id) const {
    for (auto it = m_shown.cbegin(); it != m_shown.cend(); ++it)
        if (it->id == id) return it.key();
    return 0;
}

} // namespace os
