#include "os/linux/X11PressMonitor.h"

#include "os/linux/X11Grabber.h"

#include <QLoggingCategory>
#include <xcb/xcb.h>
#include <xcb/xinput.h>

namespace os {
namespace {
Q_LOGGING_CATEGORY(lcPresses, "presses")

// Left and right: the wheel's steps arrive as buttons 4 to 7, and scrolling is no click.
bool isClick(quint32 button) {
    return button == 1 || button == 3;
}
} // namespace

X11PressMonitor::X11PressMonitor(const QString& display, QObject* parent) : PressMonitor(parent) {
    int screenNumber = 0;
    m_c = xcb_connect(display.isEmpty() ? nullptr : display.toLocal8Bit().constData(), &screenNumber);
    if (xcb_connection_has_error(m_c)) {
        qCWarning(lcPresses) << "no X display: clicks elsewhere are not seen";
        return;
    }
    const xcb_screen_t* screen = xcbScreen(m_c, screenNumber);
    if (!screen) return;
    m_root = screen->root;
    const xcb_query_extension_reply_t* ext = xcb_get_extension_data(m_c, &xcb_input_id);
    XcbReply<xcb_input_xi_query_version_reply_t> version(nullptr, &std::free);
    if (ext && ext->present)
        version =
            xcbReply(xcb_input_xi_query_version_reply(m_c, xcb_input_xi_query_version(m_c, 2, 0), nullptr));
    if (!version || version->major_version < 2) {
        qCWarning(lcPresses) << "the X server has no XInput 2: clicks elsewhere are not seen";
        return;
    }
    m_xinput = ext->major_opcode;
    m_notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_c), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &X11PressMonitor::readEvents);
}

X11PressMonitor::~X11PressMonitor() {
    m_notifier.reset();
    if (m_c) xcb_disconnect(m_c);
}

void X11PressMonitor::start() {
    select(true);
}

void X11PressMonitor::stop() {
    select(false);
}

void X11PressMonitor::select(bool presses) {
    if (!m_xinput || xcb_connection_has_error(m_c)) return;
    struct {
        xcb_input_event_mask_t head;
        uint32_t mask;
    } mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1},
           presses ? uint32_t(XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS) : 0u};
    xcb_input_xi_select_events(m_c, m_root, 1, &mask.head);
    xcb_flush(m_c);
}

void X11PressMonitor::readEvents() {
    bool press = false;
    while (xcb_generic_event_t* event = xcb_poll_for_event(m_c)) {
        const auto* generic = reinterpret_cast<const xcb_ge_generic_event_t*>(event);
        if ((event->response_type & 0x7f) == XCB_GE_GENERIC && generic->extension == m_xinput &&
            generic->event_type == XCB_INPUT_RAW_BUTTON_PRESS)
            press =
                press || isClick(reinterpret_cast<const xcb_input_raw_button_press_event_t*>(event)->detail);
        free(event);
    }
    if (xcb_connection_has_error(m_c)) {
        qCWarning(lcPresses) << "the X connection is lost: clicks elsewhere are no longer seen";
        m_notifier->setEnabled(false);
        return;
    }
    if (!press) return;
    // Raw events carry no position: the pointer is asked where it is now, a moment after the press.
    const auto pointer = xcbReply(xcb_query_pointer_reply(m_c, xcb_query_pointer(m_c, m_root), nullptr));
    if (pointer) emit pressed(QPoint(pointer->root_x, pointer->root_y));
}

} // namespace os
