#pragma once

#include "os/IdleSource.h"

#include <QDBusConnection>
#include <QString>

namespace os {

// GNOME's idle time: Mutter's IdleMonitor on the session bus, which offers no Wayland idle protocol to
// programs. Each question is one call that waits at most `timeoutMs`, so that a stuck shell cannot hold up
// the caller for long; a missing service, a call that times out or an answer of the wrong type is nothing,
// logged once until an answer comes again.
class MutterIdleSource final : public IdleSource {
public:
    static constexpr int timeoutMs = 250;

    explicit MutterIdleSource(QDBusConnection bus = QDBusConnection::sessionBus(),
                              QString service = QStringLiteral("org.gnome.Mutter.IdleMonitor"));

    std::optional<double> idleSeconds() override;

private:
    QDBusConnection m_bus;
    QString m_service;
    bool m_saidFailure = false;
};

} // namespace os
