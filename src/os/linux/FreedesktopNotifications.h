#pragma once

#include "os/Notifications.h"

#include <QDBusConnection>
#include <QHash>

namespace os {

// Notifications through the org.freedesktop.Notifications service on the session bus. Every call to the
// service is asynchronous, so a slow or missing notification daemon never holds up the main thread.
class FreedesktopNotifications final : public Notifications {
    Q_OBJECT
public:
    static inline const QString service = QStringLiteral("org.freedesktop.Notifications");
    static inline const QString path = QStringLiteral("/org/freedesktop/Notifications");
    // The application id that desktops use to find the app's name and icon in its .desktop file.
    static inline const QString desktopEntry = QStringLiteral("app.orvane.Orvane");

    explicit FreedesktopNotifications(QDBusConnection bus = QDBusConnection::sessionBus(),
                                      QObject* parent = nullptr);

    bool available() override;
    void post(const Notification& notification) override;

private slots:
    void onActionInvoked(uint serverId, const QString& action);
    void onClosed(uint serverId, uint reason);

private:
    // The server's id of the notification on screen with this app id, or 0 (which asks for a new one).
    uint shownId(const QString& id) const;

    QDBusConnection m_bus;
    QHash<uint, Notification> m_shown; // by the id the server gave
};

} // namespace os
