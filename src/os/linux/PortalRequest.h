#pragma once

#include <QDBusConnection>
#include <QString>
#include <QVariantList>
#include <QVariantMap>
#include <chrono>

namespace os::portal {

inline const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
inline const QString path = QStringLiteral("/org/freedesktop/portal/desktop");

// What a portal answered through its Request object: 0 granted, 1 the user cancelled, 2 anything else.
struct Response {
    enum Code : uint { success = 0, cancelled = 1, other = 2 };
    uint code = other;
    QVariantMap results;
};

// Calls `method` of a portal interface, whose last argument is an options dictionary, and waits for the
// Response of the Request it opens. Subscribes before calling, so a quick answer is never missed. A failed
// call or no answer within `patience` counts as `other`, with the reason logged. Runs a local event loop;
// any thread with a Qt event dispatcher, or none, will do.
Response request(const QDBusConnection& bus, const QString& interface, const QString& method,
                 QVariantList arguments, QVariantMap options, std::chrono::milliseconds patience);

// A fresh token for a Request's or Session's handle, unique within this process: every portal client here
// shares the one count, since they may share one connection.
QString token();

// Where the portal puts the Request for `handleToken`, so that its Response can be listened for before the
// call goes out.
QString requestPath(const QDBusConnection& bus, const QString& handleToken);

// A numeric property of a portal interface (its `version`, say); 0 when the bus has no such portal.
uint property(const QDBusConnection& bus, const QString& interface, const QString& name);

inline uint version(const QDBusConnection& bus, const QString& interface) {
    return property(bus, interface, QStringLiteral("version"));
}

} // namespace os::portal
