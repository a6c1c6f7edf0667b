#include "os/linux/X11Grabber.h"

#include <QPainter>
#include <optional>
#include <string>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <xcb/randr.h>
#include <xcb/xfixes.h>

namespace os {

xcb_screen_t* xcbScreen(xcb_connection_t* c, int screenNumber) {
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber && it.rem; ++i)
        xcb_screen_next(&it);
    return it.rem ? it.data : nullptr;
}

bool xcbHasExtension(xcb_connection_t* c, xcb_extension_t* extension) {
    const xcb_query_extension_reply_t* data = xcb_get_extension_data(c, extension);
    return data && data->present;
}

namespace {

// The primary monitor's rectangle, else the first monitor's, else the whole root window.
QRect primaryRect(xcb_connection_t* c, xcb_window_t root, const QRect& whole) {
    if (!xcbHasExtension(c, &xcb_randr_id)) return whole;
    auto monitors = xcbReply(xcb_randr_get_monitors_reply(c, xcb_randr_get_monitors(c, root, 1), nullptr));
    if (!monitors) return whole;
    std::optional<QRect> first;
    for (auto it = xcb_randr_get_monitors_monitors_iterator(monitors.get()); it.rem;
         xcb_randr_monitor_info_next(&it)) {
        const QRect rect(it.data->x, it.data->y, it.data->width, it.data->height);
        if (it.data->primary) return rect;
        if (!first) first = rect;
    }
    return first.value_or(whole);
}
} // namespace

X11Grabber::X11Grabber(const QString& display) {
    int screenNumber = 0;
    const QByteArray name = display.toLocal8Bit();
    m_c = xcb_connect(name.isEmpty() ? nullptr : name.constData(), &screenNumber);
    if (xcb_connection_has_error(m_c)) {
        xcb_disconnect(m_c);
        throw ScreenError("cannot open the X display");
    }
    m_screen = xcbScreen(m_c, screenNumber);
    if (!m_screen) {
        xcb_disconnect(m_c);
        throw ScreenError("the X display has no screen");
    }
    m_shm = xcbHasExtension(m_c, &xcb_shm_id);
    m_xfixes = xcbHasExtension(m_c, &xcb_xfixes_id);
    if (m_xfixes) // XFixes answers cursor requests only to clients that announced their version
        std::free(xcb_xfixes_query_version_reply(m_c, xcb_xfixes_query_version(m_c, 4, 0), nullptr));
}

X11Grabber::~X11Grabber() {
    release();
    xcb_disconnect(m_c);
}

bool X11Grabber::lost() const {
    return xcb_connection_has_error(m_c) != 0;
}

void X11Grabber::release() {
    if (!m_memory) return;
    xcb_shm_detach(m_c, m_segment);
    xcb_flush(m_c);
    shmdt(m_memory);
    m_memory = nullptr;
    m_capacity = 0;
}

// A segment of at least `bytes`, attached to the server; false when shared memory is unavailable here.
bool X11Grabber::reserve(std::size_t bytes) {
    if (m_memory && m_capacity >= bytes) return true;
    release();
    const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
    if (id < 0) return false;
    void* attached = shmat(id, nullptr, 0);
    m_segment = xcb_generate_id(m_c);
    xcb_generic_error_t* error = attached == reinterpret_cast<void*>(-1)
                                     ? nullptr
                                     : xcb_request_check(m_c, xcb_shm_attach_checked(m_c, m_segment, id, 0));
    // Marked for removal at once: the segment goes away with the last detach, also if we crash.
    shmctl(id, IPC_RMID, nullptr);
    if (attached == reinterpret_cast<void*>(-1)) return false;
    if (error) {
        std::free(error);
        shmdt(attached);
        return false;
    }
    m_memory = attached;
    m_capacity = bytes;
    return true;
}

QImage X11Grabber::read(xcb_drawable_t drawable, const QRect& rect) {
    const std::size_t bytes = std::size_t(rect.width()) * rect.height() * 4;
    if (m_shm && reserve(bytes)) {
        auto image = xcbReply(xcb_shm_get_image_reply(
            m_c,
            xcb_shm_get_image(m_c, drawable, rect.x(), rect.y(), rect.width(), rect.height(), ~0u,
                              XCB_IMAGE_FORMAT_Z_PIXMAP, m_segment, 0),
            nullptr));
        if (!image) throw ScreenError("the X server refused to read the screen");
        return QImage(static_cast<const uchar*>(m_memory), rect.width(), rect.height(), rect.width() * 4,
                      QImage::Format_RGB32)
            .copy();
    }
    auto image =
        xcbReply(xcb_get_image_reply(m_c,
                                     xcb_get_image(m_c, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, rect.x(),
                                                   rect.y(), rect.width(), rect.height(), ~0u),
                                     nullptr));
    if (!image || std::size_t(xcb_get_image_data_length(image.get())) < bytes)
        throw ScreenError("the X server refused to read the screen");
    return QImage(xcb_get_image_data(image.get()), rect.width(), rect.height(), rect.width() * 4,
                  QImage::Format_RGB32)
        .copy();
}

// Draws the pointer where it is. A server without XFixes, or one that refuses the cursor's image, gives a
// frame without a pointer, which is still a whole picture of the screen.
void X11Grabber::drawCursor(QImage& frame, const QRect& area) {
    if (!m_xfixes) return;
    auto cursor = xcbReply(xcb_xfixes_get_cursor_image_reply(m_c, xcb_xfixes_get_cursor_image(m_c), nullptr));
    if (!cursor) return;
    const QImage pointer(
        reinterpret_cast<const uchar*>(xcb_xfixes_get_cursor_image_cursor_image(cursor.get())), cursor->width,
        cursor->height, cursor->width * 4, QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&frame);
    painter.drawImage(QPoint(cursor->x - cursor->xhot - area.x(), cursor->y - cursor->yhot - area.y()),
                      pointer);
}

ScreenFrame X11Grabber::grab(const std::function<void(QImage& image, const QRect& area)>& touchUp) {
    if (m_screen->root_depth != 24 && m_screen->root_depth != 32)
        throw ScreenError("unsupported screen depth " + std::to_string(m_screen->root_depth));
    // The size the connection began with is stale once the screen was resized (xrandr): ask the root.
    auto geometry = xcbReply(xcb_get_geometry_reply(m_c, xcb_get_geometry(m_c, root()), nullptr));
    if (!geometry) throw ScreenError("the X server does not answer");
    const QRect whole(0, 0, geometry->width, geometry->height);
    const QRect wanted = primaryRect(m_c, root(), whole);
    const QRect area = wanted & whole;
    if (area.isEmpty()) throw ScreenError("the primary screen lies outside the X screen");
    ScreenFrame frame{read(root(), area), area == wanted};
    if (touchUp) touchUp(frame.image, area);
    drawCursor(frame.image, area);
    keepEvents();
    if (lost()) throw ScreenError("lost the connection to the X display");
    return frame;
}

void X11Grabber::keepEvents() {
    while (xcb_generic_event_t* event = xcb_poll_for_event(m_c)) {
        // Errors of requests whose answer nobody waited for (a window gone meanwhile) queue up as events.
        if (event->response_type == 0 || m_events.size() >= keptEventsAtMost)
            std::free(event);
        else
            m_events.push_back(xcbReply(event));
    }
}

XcbReply<xcb_generic_event_t> X11Grabber::nextEvent() {
    if (m_events.empty()) keepEvents();
    if (m_events.empty()) return xcbReply<xcb_generic_event_t>(nullptr);
    XcbReply<xcb_generic_event_t> event = std::move(m_events.front());
    m_events.pop_front();
    return event;
}

} // namespace os
