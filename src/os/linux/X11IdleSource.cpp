#include "os/linux/X11IdleSource.h"

#include <QLoggingCategory>
#include <cstdlib>
#include <memory>
#include <xcb/screensaver.h>
#include <xcb/xcb.h>

Q_LOGGING_CATEGORY(lcIdle, "idle")

namespace os {

std::optional<double> X11IdleSource::idleSeconds() {
    // A connection per question: asked every 15 seconds, it costs less than keeping a second connection alive.
    int screenNumber = 0;
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> conn(xcb_connect(nullptr, &screenNumber),
                                                                           &xcb_disconnect);
    if (xcb_connection_has_error(conn.get()))
        return std::nullopt;
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(conn.get()));
    for (int i = 0; i < screenNumber && it.rem; ++i)
        xcb_screen_next(&it);
    if (!it.rem)
        return std::nullopt;
    const std::unique_ptr<xcb_screensaver_query_info_reply_t, decltype(&std::free)> info(
        xcb_screensaver_query_info_reply(conn.get(), xcb_screensaver_query_info(conn.get(), it.data->root), nullptr),
        &std::free);
    if (!info) {
        qCWarning(lcIdle) << "the X server has no screen-saver extension; idle time unknown";
        return std::nullopt;
    }
    return info->ms_since_user_input / 1000.0;
}

} // namespace os
