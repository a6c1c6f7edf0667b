#include "os/linux/X11ScreenSource.h"

#include "os/linux/X11Grabber.h"

#include <algorithm>
#include <xcb/randr.h>
#include <xcb/xcb.h>

namespace os {
namespace {
struct Connection {
    xcb_connection_t* c;
    ~Connection() { xcb_disconnect(c); }
};
} // namespace

X11ScreenSource::X11ScreenSource() = default;
X11ScreenSource::~X11ScreenSource() = default;

ScreenFrame X11ScreenSource::grabPrimary() {
    if (!m_grabber) m_grabber = std::make_unique<X11Grabber>();
    try {
        return m_grabber->grab();
    } catch (const ScreenError&) {
        // A lost server leaves the connection dead: the next grab connects anew.
        if (m_grabber->lost()) m_grabber.reset();
        throw;
    }
}

int X11ScreenSource::readableDisplays() {
    int screenNumber = 0;
    Connection conn{xcb_connect(nullptr, &screenNumber)};
    if (xcb_connection_has_error(conn.c)) throw ScreenError("cannot open the X display");
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(conn.c));
    for (int i = 0; i < screenNumber && it.rem; ++i)
        xcb_screen_next(&it);
    if (!it.rem) throw ScreenError("the X display has no screen");
    const xcb_window_t root = it.data->root;

    // Reading one pixel proves that the server hands out the screen's contents.
    xcb_generic_error_t* error = nullptr;
    auto pixel = xcbReply(xcb_get_image_reply(
        conn.c, xcb_get_image(conn.c, XCB_IMAGE_FORMAT_Z_PIXMAP, root, 0, 0, 1, 1, ~0u), &error));
    if (!pixel) {
        std::free(error);
        throw ScreenError("the X server refused to read the screen");
    }

    auto monitors =
        xcbReply(xcb_randr_get_monitors_reply(conn.c, xcb_randr_get_monitors(conn.c, root, 1), nullptr));
    if (!monitors) return 1; // no RandR: the root window is the one display
    return std::max(1, xcb_randr_get_monitors_monitors_length(monitors.get()));
}

} // namespace os
