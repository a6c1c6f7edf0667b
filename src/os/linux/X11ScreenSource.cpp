#include "os/linux/X11ScreenSource.h"

#include <QPainter>
#include <QRect>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <xcb/randr.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

namespace os {
namespace {
struct Connection {
    xcb_connection_t* c;
    ~Connection() { xcb_disconnect(c); }
};

template <class T> using Reply = std::unique_ptr<T, decltype(&std::free)>;
template <class T> Reply<T> reply(T* r) { return Reply<T>(r, &std::free); }

bool hasExtension(xcb_connection_t* c, xcb_extension_t* extension) {
    const xcb_query_extension_reply_t* data = xcb_get_extension_data(c, extension);
    return data && data->present;
}

// The primary monitor's rectangle, else the first monitor's, else the whole X screen.
QRect primaryRect(xcb_connection_t* c, const xcb_screen_t& screen) {
    const QRect whole(0, 0, screen.width_in_pixels, screen.height_in_pixels);
    if (!hasExtension(c, &xcb_randr_id))
        return whole;
    auto monitors = reply(xcb_randr_get_monitors_reply(c, xcb_randr_get_monitors(c, screen.root, 1), nullptr));
    if (!monitors)
        return whole;
    std::optional<QRect> first;
    for (auto it = xcb_randr_get_monitors_monitors_iterator(monitors.get()); it.rem; xcb_randr_monitor_info_next(&it)) {
        const QRect rect(it.data->x, it.data->y, it.data->width, it.data->height);
        if (it.data->primary)
            return rect;
        if (!first)
            first = rect;
    }
    return first.value_or(whole);
}
} // namespace

// A connection of its own with the shared-memory segment that grabs reuse; made on the first grab.
struct X11ScreenSource::Grabber {
    xcb_connection_t* c = nullptr;
    const xcb_screen_t* screen = nullptr;
    bool shm = false;
    bool xfixes = false;
    xcb_shm_seg_t segment = 0;
    void* memory = nullptr;
    std::size_t capacity = 0;

    Grabber() {
        int screenNumber = 0;
        c = xcb_connect(nullptr, &screenNumber);
        if (xcb_connection_has_error(c)) {
            xcb_disconnect(c);
            throw ScreenError("cannot open the X display");
        }
        xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(c));
        for (int i = 0; i < screenNumber && it.rem; ++i)
            xcb_screen_next(&it);
        if (!it.rem) {
            xcb_disconnect(c);
            throw ScreenError("the X display has no screen");
        }
        screen = it.data;
        shm = hasExtension(c, &xcb_shm_id);
        xfixes = hasExtension(c, &xcb_xfixes_id);
        if (xfixes) // XFixes answers cursor requests only to clients that announced their version
            std::free(xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 4, 0), nullptr));
    }

    ~Grabber() {
        release();
        xcb_disconnect(c);
    }

    void release() {
        if (!memory)
            return;
        xcb_shm_detach(c, segment);
        xcb_flush(c);
        shmdt(memory);
        memory = nullptr;
        capacity = 0;
    }

    // A segment of at least `bytes`, attached to the server; false when shared memory is unavailable here.
    bool reserve(std::size_t bytes) {
        if (memory && capacity >= bytes)
            return true;
        release();
        const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
        if (id < 0)
            return false;
        void* attached = shmat(id, nullptr, 0);
        segment = xcb_generate_id(c);
        xcb_generic_error_t* error = attached == reinterpret_cast<void*>(-1)
                                         ? nullptr
                                         : xcb_request_check(c, xcb_shm_attach_checked(c, segment, id, 0));
        // Marked for removal at once: the segment goes away with the last detach, also if we crash.
        shmctl(id, IPC_RMID, nullptr);
        if (attached == reinterpret_cast<void*>(-1))
            return false;
        if (error) {
            std::free(error);
            shmdt(attached);
            return false;
        }
        memory = attached;
        capacity = bytes;
        return true;
    }

    QImage read(const QRect& area) {
        const std::size_t bytes = std::size_t(area.width()) * area.height() * 4;
        if (shm && reserve(bytes)) {
            auto image = reply(xcb_shm_get_image_reply(
                c,
                xcb_shm_get_image(c, screen->root, area.x(), area.y(), area.width(), area.height(), ~0u,
                                  XCB_IMAGE_FORMAT_Z_PIXMAP, segment, 0),
                nullptr));
            if (!image)
                throw ScreenError("the X server refused to read the screen");
            return QImage(static_cast<const uchar*>(memory), area.width(), area.height(), area.width() * 4,
                          QImage::Format_RGB32)
                .copy();
        }
        // A remote display shares no memory with us: the pixels come over the socket instead.
        auto image = reply(xcb_get_image_reply(c,
                                               xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root, area.x(),
                                                             area.y(), area.width(), area.height(), ~0u),
                                               nullptr));
        if (!image || std::size_t(xcb_get_image_data_length(image.get())) < bytes)
            throw ScreenError("the X server refused to read the screen");
        return QImage(xcb_get_image_data(image.get()), area.width(), area.height(), area.width() * 4,
                      QImage::Format_RGB32)
            .copy();
    }

    // Draws the pointer where it is; false when its image is not available.
    bool drawCursor(QImage& frame, const QRect& area) {
        if (!xfixes)
            return false;
        auto cursor = reply(xcb_xfixes_get_cursor_image_reply(c, xcb_xfixes_get_cursor_image(c), nullptr));
        if (!cursor)
            return false;
        const QImage pointer(reinterpret_cast<const uchar*>(xcb_xfixes_get_cursor_image_cursor_image(cursor.get())),
                             cursor->width, cursor->height, cursor->width * 4, QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&frame);
        painter.drawImage(QPoint(cursor->x - cursor->xhot - area.x(), cursor->y - cursor->yhot - area.y()), pointer);
        return true;
    }

    ScreenFrame grab() {
        if (screen->root_depth != 24 && screen->root_depth != 32)
            throw ScreenError("unsupported screen depth " + std::to_string(screen->root_depth));
        const QRect wanted = primaryRect(c, *screen);
        const QRect area = wanted & QRect(0, 0, screen->width_in_pixels, screen->height_in_pixels);
        if (area.isEmpty())
            throw ScreenError("the primary screen lies outside the X screen");
        ScreenFrame frame{read(area), area == wanted};
        frame.complete = drawCursor(frame.image, area) && frame.complete;
        return frame;
    }
};

X11ScreenSource::X11ScreenSource() = default;
X11ScreenSource::~X11ScreenSource() = default;

ScreenFrame X11ScreenSource::grabPrimary() {
    if (!m_grabber)
        m_grabber = std::make_unique<Grabber>();
    try {
        return m_grabber->grab();
    } catch (const ScreenError&) {
        // A lost server leaves the connection dead: the next grab connects anew.
        if (xcb_connection_has_error(m_grabber->c))
            m_grabber.reset();
        throw;
    }
}

int X11ScreenSource::readableDisplays() {
    int screenNumber = 0;
    Connection conn{xcb_connect(nullptr, &screenNumber)};
    if (xcb_connection_has_error(conn.c))
        throw ScreenError("cannot open the X display");
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(conn.c));
    for (int i = 0; i < screenNumber && it.rem; ++i)
        xcb_screen_next(&it);
    if (!it.rem)
        throw ScreenError("the X display has no screen");
    const xcb_window_t root = it.data->root;

    // Reading one pixel proves that the server hands out the screen's contents.
    xcb_generic_error_t* error = nullptr;
    Reply<xcb_get_image_reply_t> pixel(
        xcb_get_image_reply(conn.c, xcb_get_image(conn.c, XCB_IMAGE_FORMAT_Z_PIXMAP, root, 0, 0, 1, 1, ~0u), &error),
        &std::free);
    if (!pixel) {
        std::free(error);
        throw ScreenError("the X server refused to read the screen");
    }

    Reply<xcb_randr_get_monitors_reply_t> monitors(
        xcb_randr_get_monitors_reply(conn.c, xcb_randr_get_monitors(conn.c, root, 1), nullptr), &std::free);
    if (!monitors)
        return 1; // no RandR: the root window is the one display
    return std::max(1, xcb_randr_get_monitors_monitors_length(monitors.get()));
}

} // namespace os
