#pragma once

#include "os/IdleSource.h"

#include <QString>
#include <memory>

namespace os {

// Idle time from the Wayland compositor, on a connection of its own made at the first question. The
// compositor only says when a timeout has passed without input and when input came back: a notification
// after one second marks the start of each idle stretch (that second earlier) and its end. The events are
// read as they arrive, by a socket notifier on the thread that first asks, so that a stretch starts when the
// compositor said so rather than at the next question; each question also reads what is waiting, for a
// caller whose event loop has not run since. Speaks ext-idle-notify-v1 where the compositor offers it, else
// KDE's org_kde_kwin_idle (wlroots before 0.16). Without either, or once the compositor has gone, nothing is
// known; the connection is not tried again, since a new compositor is a new session.
class WaylandIdleSource final : public IdleSource {
public:
    // display: a socket name in $XDG_RUNTIME_DIR or an absolute path; empty: $WAYLAND_DISPLAY.
    explicit WaylandIdleSource(QString display = {});
    ~WaylandIdleSource() override;

    std::optional<double> idleSeconds() override;

    static constexpr int timeoutMs = 1000;

private:
    struct Connection;

    QString m_display;
    std::unique_ptr<Connection> m_connection;
    bool m_failed = false;
};

} // namespace os
