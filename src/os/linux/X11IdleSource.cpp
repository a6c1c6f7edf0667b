#include "os/linux/X11IdleSource.h"

#include <QLoggingCategory>
#include <cstdlib>
#include <xcb/screensaver.h>
#include <xcb/xcb.h>

Q_LOGGING_CATEGORY(lcIdle, "idle")

namespace os {

struct X11IdleSource::Connection {
    xcb_connection_t* xcb = nullptr;
    xcb_window_t root = XCB_NONE;

    Connection() {
        int screenNumber = 0;
        xcb = xcb_connect(nullptr, &screenNumber);
        if (xcb_connection_has_error(xcb)) return;
        xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(xcb));
        for (int i = 0; i < screenNumber && it.rem; ++i)
            xcb_screen_next(&it);
        if (it.rem) root = it.data->root;
    }
    ~Connection() { xcb_disconnect(xcb); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool usable() const { return root != XCB_NONE && !xcb_connection_has_error(xcb); }
};

X11IdleSource::X11IdleSource() = default;
X11IdleSource::~X11IdleSource() = default;

X11IdleSource::Connection* X11IdleSource::connection() {
    if (m_connection && m_connection->usable()) return m_connection.get();
    m_connection = std::make_unique<Connection>();
    if (m_connection->usable()) return m_connection.get();
    m_connection.reset();
    return nullptr;
}

std::optional<double> X11IdleSource::idleSeconds() {
    Connection* c = connection();
    if (!c) return std::nullopt;
    xcb_screensaver_query_info_reply_t* info =
        xcb_screensaver_query_info_reply(c->xcb, xcb_screensaver_query_info(c->xcb, c->root), nullptr);
    if (!info) {
        // A broken connection is made anew at the next question; a missing extension stays missing.
        if (!m_saidNoExtension && !xcb_connection_has_error(c->xcb)) {
            qCWarning(lcIdle) << "the X server has no screen-saver extension; idle time unknown";
            m_saidNoExtension = true;
        }
        return std::nullopt;
    }
    const double seconds = info->ms_since_user_input / 1000.0;
    std::free(info);
    return seconds;
}

} // namespace os
