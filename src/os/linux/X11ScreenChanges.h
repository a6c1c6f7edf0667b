#pragma once

#include <xcb/damage.h>
#include <xcb/xcb.h>

namespace os {

class X11Grabber;

// Whether anything was drawn on the screen since the last look, from the X server's DAMAGE extension: a still
// screen needs no grab, and a moving cursor draws nothing. Top-level windows are watched one by one, as a
// compositing manager does, because a window redirected for compositing draws into a pixmap of its own and
// reports nothing on the root; the root is watched for its own background and its size. Without the
// extension every look says it changed, and frames are grabbed on the clock. Reads the events of the
// grabber's connection, which no one else may read; its damage objects end with that connection.
class X11ScreenChanges {
public:
    // `grabber` must outlive this.
    explicit X11ScreenChanges(X11Grabber& grabber);
    X11ScreenChanges(const X11ScreenChanges&) = delete;
    X11ScreenChanges& operator=(const X11ScreenChanges&) = delete;

    // True when something was drawn, or a window came, went, moved or was restacked, since the last call
    // that returned true (or since construction); also when the extension is missing, or when the connection
    // broke, so that the grab finds out.
    bool changed();

private:
    void watch(xcb_window_t window);

    X11Grabber& m_grabber;
    xcb_connection_t* m_c;
    xcb_window_t m_root;
    bool m_tracking = false;
    uint8_t m_notify = 0;
};

} // namespace os
