#pragma once

#include "os/ScreenSource.h"

#include <QDBusConnection>
#include <optional>

namespace os {

// The screen on Wayland, where no client may read it but through the desktop's portals: whether it can be
// recorded is whether the ScreenCast portal is there, and a picture of it comes from the Screenshot portal,
// with our own windows painted out by their marks (OwnWindowMarks). Any thread; each call waits for the
// desktop's answer.
class PortalScreenSource final : public ScreenSource {
public:
    explicit PortalScreenSource(QDBusConnection bus);

    int readableDisplays() override;
    ScreenFrame grabPrimary() override;
    // The desktop's own screenshot tool, where the user picks the part to keep; nothing when cancelled.
    std::optional<QImage> pickRegion();

private:
    // Throws ScreenError, except for the user's cancelling, which is nothing.
    std::optional<QImage> screenshot(bool interactive);

    QDBusConnection m_bus;
};

} // namespace os
