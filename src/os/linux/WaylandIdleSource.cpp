#include "os/linux/WaylandIdleSource.h"

#include "ext-idle-notify-v1-client-protocol.h"
#include "idle-client-protocol.h"

#include <QLoggingCategory>
#include <QSocketNotifier>
#include <chrono>
#include <cstring>
#include <poll.h>
#include <wayland-client.h>

Q_LOGGING_CATEGORY(lcWaylandIdle, "idle.wayland")

namespace os {

using Clock = std::chrono::steady_clock;

struct WaylandIdleSource::Connection {
    wl_display* display = nullptr;
    wl_registry* registry = nullptr;
    wl_seat* seat = nullptr;
    ext_idle_notifier_v1* notifier = nullptr;
    org_kde_kwin_idle* kdeIdle = nullptr;
    ext_idle_notification_v1* notification = nullptr;
    org_kde_kwin_idle_timeout* kdeTimeout = nullptr;
    std::unique_ptr<QSocketNotifier> incoming;
    // When the compositor said the timeout had passed; nothing while there is input.
    std::optional<Clock::time_point> idleSince;

    explicit Connection(const QString& name)
        : display(wl_display_connect(name.isEmpty() ? nullptr : name.toLocal8Bit().constData())) {}
    ~Connection() {
        if (!display) return;
        if (notification) ext_idle_notification_v1_destroy(notification);
        if (kdeTimeout) org_kde_kwin_idle_timeout_release(kdeTimeout);
        if (notifier) ext_idle_notifier_v1_destroy(notifier);
        if (kdeIdle) org_kde_kwin_idle_destroy(kdeIdle);
        if (seat) wl_seat_destroy(seat);
        if (registry) wl_registry_destroy(registry);
        wl_display_disconnect(display);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Binds the globals and asks for the notification; false when the compositor cannot give one.
    bool start() {
        static const wl_registry_listener globals{
            [](void* data, wl_registry* registry, uint32_t id, const char* interface, uint32_t) {
                auto* c = static_cast<Connection*>(data);
                const auto bind = [&](const wl_interface* type) {
                    return wl_registry_bind(registry, id, type, 1);
                };
                // The first seat: desktops have one.
                if (!c->seat && std::strcmp(interface, wl_seat_interface.name) == 0)
                    c->seat = static_cast<wl_seat*>(bind(&wl_seat_interface));
                else if (std::strcmp(interface, ext_idle_notifier_v1_interface.name) == 0)
                    c->notifier = static_cast<ext_idle_notifier_v1*>(bind(&ext_idle_notifier_v1_interface));
                else if (std::strcmp(interface, org_kde_kwin_idle_interface.name) == 0)
                    c->kdeIdle = static_cast<org_kde_kwin_idle*>(bind(&org_kde_kwin_idle_interface));
            },
            [](void*, wl_registry*, uint32_t) {}};
        registry = wl_display_get_registry(display);
        wl_registry_add_listener(registry, &globals, this);
        if (wl_display_roundtrip(display) < 0) {
            qCWarning(lcWaylandIdle) << "the Wayland compositor broke off the connection; idle time unknown";
            return false;
        }
        if (!seat || !(notifier || kdeIdle)) {
            qCWarning(lcWaylandIdle) << "the compositor offers no idle notifications (ext-idle-notify-v1 or"
                                     << "org_kde_kwin_idle) or no seat; idle time unknown";
            return false;
        }
        if (notifier) {
            static const ext_idle_notification_v1_listener events{
                [](void* data, ext_idle_notification_v1*) { static_cast<Connection*>(data)->idled(); },
                [](void* data, ext_idle_notification_v1*) { static_cast<Connection*>(data)->resumed(); }};
            notification = ext_idle_notifier_v1_get_idle_notification(notifier, timeoutMs, seat);
            ext_idle_notification_v1_add_listener(notification, &events, this);
        } else {
            static const org_kde_kwin_idle_timeout_listener events{
                [](void* data, org_kde_kwin_idle_timeout*) { static_cast<Connection*>(data)->idled(); },
                [](void* data, org_kde_kwin_idle_timeout*) { static_cast<Connection*>(data)->resumed(); }};
            kdeTimeout = org_kde_kwin_idle_get_idle_timeout(kdeIdle, seat, timeoutMs);
            org_kde_kwin_idle_timeout_add_listener(kdeTimeout, &events, this);
        }
        if (wl_display_flush(display) < 0) return false;
        incoming = std::make_unique<QSocketNotifier>(wl_display_get_fd(display), QSocketNotifier::Read);
        QObject::connect(incoming.get(), &QSocketNotifier::activated, incoming.get(), [this] { read(); });
        return true;
    }

    void idled() { idleSince = Clock::now(); }
    void resumed() { idleSince.reset(); }

    // Handles every event that has come, without waiting for more; false once the connection is broken.
    bool read() {
        // After a fatal error the queue is never emptied: the loop ends on the error instead.
        while (wl_display_prepare_read(display) != 0)
            if (wl_display_dispatch_pending(display) < 0) return broken();
        wl_display_flush(display);
        pollfd socket{wl_display_get_fd(display), POLLIN, 0};
        if (poll(&socket, 1, 0) > 0)
            wl_display_read_events(display);
        else
            wl_display_cancel_read(display);
        wl_display_dispatch_pending(display);
        return wl_display_get_error(display) == 0 || broken();
    }
    bool broken() {
        // A hung-up socket stays readable: the notifier would fire without end.
        if (incoming) incoming->setEnabled(false);
        return false;
    }
};

WaylandIdleSource::WaylandIdleSource(QString display) : m_display(std::move(display)) {}
WaylandIdleSource::~WaylandIdleSource() = default;

std::optional<double> WaylandIdleSource::idleSeconds() {
    if (m_failed) return std::nullopt;
    if (!m_connection) {
        m_connection = std::make_unique<Connection>(m_display);
        if (!m_connection->display) {
            const QString name = m_display.isEmpty() ? qEnvironmentVariable("WAYLAND_DISPLAY") : m_display;
            qCWarning(lcWaylandIdle).noquote()
                << "no Wayland compositor at" << name + QStringLiteral("; idle time unknown");
        }
        if (!m_connection->display || !m_connection->start()) {
            m_connection.reset();
            m_failed = true;
            return std::nullopt;
        }
    }
    if (!m_connection->read()) {
        qCWarning(lcWaylandIdle) << "the connection to the Wayland compositor broke; idle time unknown";
        m_connection.reset();
        m_failed = true;
        return std::nullopt;
    }
    const std::optional<Clock::time_point>& since = m_connection->idleSince;
    if (!since) return 0.0;
    return std::chrono::duration<double>(Clock::now() - *since).count() + timeoutMs / 1000.0;
}

} // namespace os
