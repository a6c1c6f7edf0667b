#include "os/linux/X11Panels.h"

#include "os/linux/X11Grabber.h"

#include <QByteArray>
#include <QGuiApplication>
#include <QWindow>
#include <cstdlib>
#include <cstring>

namespace os {
namespace {
xcb_connection_t* connection() {
    const auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t* c, const QByteArray& name) {
    auto reply =
        xcbReply(xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, name.size(), name.constData()), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

// The screen number of the display the application opened, as DISPLAY names it (":0.1" is screen 1).
int screenNumber() {
    int screen = 0;
    char* host = nullptr;
    int display = 0;
    if (xcb_parse_display(nullptr, &host, &display, &screen)) std::free(host);
    return screen;
}

// Whether some client owns the selection `prefix` + the screen number, the way desktop managers announce
// themselves.
bool screenSelectionOwned(const QByteArray& prefix) {
    xcb_connection_t* c = connection();
    if (!c) return false;
    const xcb_atom_t selection = atom(c, prefix + QByteArray::number(screenNumber()));
    if (selection == XCB_ATOM_NONE) return false;
    auto owner = xcbReply(xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), nullptr));
    return owner && owner->owner != XCB_WINDOW_NONE;
}
} // namespace

bool x11CompositingManagerRuns() {
    return screenSelectionOwned("_NET_WM_CM_S");
}

bool x11SystemTrayRuns() {
    return screenSelectionOwned("_NET_SYSTEM_TRAY_S");
}

void x11OnAllDesktops(QWindow& window) {
    xcb_connection_t* c = connection();
    if (!c) return;
    // The window manager reads the property when the window maps; a mapped window keeps the desktop it has.
    const uint32_t everyDesktop = 0xFFFFFFFF;
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, xcb_window_t(window.winId()), atom(c, "_NET_WM_DESKTOP"),
                        XCB_ATOM_CARDINAL, 32, 1, &everyDesktop);
    xcb_flush(c);
}

} // namespace os
