#pragma once

#include "os/WindowSystem.h"
#include "os/linux/AppIdentities.h"

#include <QJsonObject>
#include <QLocalSocket>
#include <QString>

namespace os {

// Windows as sway (and i3-compatible wlroots compositors) reports them over its IPC socket: one get_tree per
// question, on a connection kept between questions and made anew after it broke. Each container remembers
// the order in which its children last had the focus, which gives the windows front to back. Wayland windows
// name their program by app_id, Xwayland ones by their X class.
class SwayWindowSystem final : public WindowSystem {
public:
    // socket: the IPC socket's path, as in SWAYSOCK. `identities` must outlive the object.
    SwayWindowSystem(AppIdentities& identities, QString socket);

    QList<Window> windows() override;
    std::optional<Window> activeWindow() override;

    static constexpr int timeoutMs = 500;

private:
    // The whole layout, or nothing when sway cannot be asked.
    std::optional<QJsonObject> tree();
    Window describe(const QJsonObject& view);

    AppIdentities& m_identities;
    QString m_socketPath;
    QLocalSocket m_socket;
    bool m_saidFailure = false;
};

} // namespace os
