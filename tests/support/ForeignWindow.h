#pragma once

#include <QImage>
#include <QRect>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <xcb/xcb.h>

// A window of another X client, made on an X connection of its own: to a frame stream that paints out this
// process's windows it belongs to another program, as a presentation would. Override-redirect, so that the
// window manager neither frames nor moves it and it stays where it is stacked.
class ForeignWindow {
public:
    // Over the whole screen when `rect` is empty. `owner`, when set, is the process named in `_NET_WM_PID`.
    // On $DISPLAY unless `display` names another.
    explicit ForeignWindow(QRect rect = {}, QRgb colour = 0, uint32_t owner = 0, const QString& display = {})
        : m_c(xcb_connect(display.isEmpty() ? nullptr : display.toLatin1().constData(), nullptr)) {
        if (xcb_connection_has_error(m_c)) return;
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_c)).data;
        if (rect.isEmpty()) rect = QRect(0, 0, screen->width_in_pixels, screen->height_in_pixels);
        m_size = rect.size();
        m_depth = screen->root_depth;
        m_window = xcb_generate_id(m_c);
        const uint32_t values[] = {colour & 0xffffff, 1, XCB_EVENT_MASK_EXPOSURE};
        xcb_create_window(m_c, XCB_COPY_FROM_PARENT, m_window, screen->root, int16_t(rect.x()),
                          int16_t(rect.y()), uint16_t(rect.width()), uint16_t(rect.height()), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
        if (owner != 0) {
            const char name[] = "_NET_WM_PID";
            xcb_intern_atom_reply_t* atom =
                xcb_intern_atom_reply(m_c, xcb_intern_atom(m_c, 0, std::strlen(name), name), nullptr);
            xcb_change_property(m_c, XCB_PROP_MODE_REPLACE, m_window, atom->atom, XCB_ATOM_CARDINAL, 32, 1,
                                &owner);
            std::free(atom);
        }
        m_gc = xcb_generate_id(m_c);
        xcb_create_gc(m_c, m_gc, m_window, 0, nullptr);
        xcb_map_window(m_c, m_window);
        sync();
    }
    ~ForeignWindow() { xcb_disconnect(m_c); }
    ForeignWindow(const ForeignWindow&) = delete;
    ForeignWindow& operator=(const ForeignWindow&) = delete;

    bool open() const { return !xcb_connection_has_error(m_c) && m_window != 0; }
    QSize size() const { return m_size; }

    void stack(xcb_stack_mode_t where) {
        const uint32_t mode = where;
        xcb_configure_window(m_c, m_window, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
        sync();
    }
    // `image` must have the window's size.
    void show(const QImage& image) {
        m_image = image.convertToFormat(QImage::Format_RGB32);
        paint();
    }
    // Paints again what the server asks for: a window that is redirected for compositing loses its pixels.
    void keepPainted() {
        bool exposed = false;
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_c)) {
            exposed = exposed || (event->response_type & 0x7f) == XCB_EXPOSE;
            std::free(event);
        }
        if (exposed) paint();
    }

private:
    void paint() {
        if (!open() || m_image.isNull()) return;
        // One request may carry only so many bytes: the image goes in bands of rows.
        const qsizetype maxBytes = qsizetype(xcb_get_maximum_request_length(m_c)) * 4 - 64;
        const int rows = std::max(1, int(maxBytes / m_image.bytesPerLine()));
        for (int y = 0; y < m_image.height(); y += rows) {
            const int band = std::min(rows, m_image.height() - y);
            xcb_put_image(m_c, XCB_IMAGE_FORMAT_Z_PIXMAP, m_window, m_gc, uint16_t(m_image.width()),
                          uint16_t(band), 0, int16_t(y), 0, m_depth, uint32_t(band * m_image.bytesPerLine()),
                          m_image.constScanLine(y));
        }
        sync();
    }
    // Returns once the server has handled every request sent.
    void sync() { std::free(xcb_get_input_focus_reply(m_c, xcb_get_input_focus(m_c), nullptr)); }

    xcb_connection_t* m_c;
    xcb_window_t m_window = 0;
    xcb_gcontext_t m_gc = 0;
    QSize m_size;
    uint8_t m_depth = 24;
    QImage m_image;
};
