#pragma once

#include "os/ScreenSource.h"

#include <QImage>
#include <QRect>
#include <QString>
#include <cstdlib>
#include <deque>
#include <functional>
#include <memory>
#include <xcb/shm.h>
#include <xcb/xcb.h>

namespace os {

template <class T> using XcbReply = std::unique_ptr<T, decltype(&std::free)>;
template <class T> XcbReply<T> xcbReply(T* r) {
    return XcbReply<T>(r, &std::free);
}

bool xcbHasExtension(xcb_connection_t* c, xcb_extension_t* extension);
// The screen of that number on the connection, as xcb_connect names it; null when the display has none.
xcb_screen_t* xcbScreen(xcb_connection_t* c, int screenNumber);

// Reads the primary screen of one X display through a connection of its own. Pixels come through one
// shared-memory segment (MIT-SHM) that is kept between reads, so a grab every two seconds for hours costs one
// copy each; a remote display, which shares no memory with us, sends them over the socket instead.
class X11Grabber {
public:
    // The display named (":1"), or $DISPLAY when empty. Throws ScreenError when it cannot be opened.
    explicit X11Grabber(const QString& display = {});
    ~X11Grabber();
    X11Grabber(const X11Grabber&) = delete;
    X11Grabber& operator=(const X11Grabber&) = delete;

    xcb_connection_t* connection() const { return m_c; }
    xcb_window_t root() const { return m_screen->root; }
    // The server went away (or broke the protocol): nothing on this connection works any more.
    bool lost() const;

    // `rect` of a window or pixmap of the screen's depth as 32-bit pixels; throws ScreenError.
    QImage read(xcb_drawable_t drawable, const QRect& rect);

    // The primary monitor as it is now, cursor drawn in where the server gives its image; `touchUp` may
    // change the pixels first (it gets the area of the root window the image shows). Throws ScreenError.
    ScreenFrame grab(const std::function<void(QImage& image, const QRect& area)>& touchUp = {});

    // The next event of the connection, or null when none is waiting. Events that came while a grab waited
    // for its answers are kept for this; errors of requests nobody waited for are dropped.
    XcbReply<xcb_generic_event_t> nextEvent();

private:
    void release();
    bool reserve(std::size_t bytes);
    void drawCursor(QImage& frame, const QRect& area);
    void keepEvents();

    // More than the events of many grabs: whoever asked for events reads them between grabs.
    static constexpr std::size_t keptEventsAtMost = 4096;

    xcb_connection_t* m_c = nullptr;
    const xcb_screen_t* m_screen = nullptr;
    bool m_shm = false;
    bool m_xfixes = false;
    xcb_shm_seg_t m_segment = 0;
    void* m_memory = nullptr;
    std::size_t m_capacity = 0;
    std::deque<XcbReply<xcb_generic_event_t>> m_events;
};

} // namespace os
