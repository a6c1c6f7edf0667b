#pragma once

#include <QList>
#include <QString>
#include <optional>

namespace os {

// A managed top-level window and the application that owns it.
struct Window {
    qint32 pid = 0;
    QString owner; // the application's display name
    QString title; // may be empty
    QString appId; // the application identity, the counterpart of a bundle identifier

    bool operator==(const Window&) const = default;
};

// The desktop's windows as the window manager reports them.
class WindowSystem {
public:
    virtual ~WindowSystem() = default;
    // Normal, visible windows with a process id, front to back; empty when the display cannot be read.
    virtual QList<Window> windows() = 0;
    // The window that has the focus; nothing when none has or the display cannot be read.
    virtual std::optional<Window> activeWindow() = 0;
    // Whether this desktop tells a program which window is in front at all: most Wayland desktops tell none.
    // When it does not, no window is ever active and the list is empty.
    virtual bool knowsFrontmost() const { return true; }
};

} // namespace os
