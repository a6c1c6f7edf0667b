#include "os/linux/X11ScreenChanges.h"

#include "os/linux/X11Grabber.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcScreenChanges, "frames")

namespace os {

X11ScreenChanges::X11ScreenChanges(X11Grabber& grabber)
    : m_grabber(grabber), m_c(grabber.connection()), m_root(grabber.root()) {
    xcb_connection_t* c = m_c;
    const xcb_window_t root = m_root;
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(c, &xcb_damage_id);
    // The server only answers damage requests from a client that has told it its version.
    const auto version =
        extension && extension->present
            ? xcbReply(xcb_damage_query_version_reply(
                  c, xcb_damage_query_version(c, XCB_DAMAGE_MAJOR_VERSION, XCB_DAMAGE_MINOR_VERSION),
                  nullptr))
            : xcbReply<xcb_damage_query_version_reply_t>(nullptr);
    if (!version) {
        qCInfo(lcScreenChanges) << "the X server has no DAMAGE extension: frames are grabbed on the clock";
        return;
    }
    m_tracking = true;
    m_notify = uint8_t(extension->first_event + XCB_DAMAGE_NOTIFY);
    // Windows that come, go, move or change stacking; the screen's own size.
    const uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, root, XCB_CW_EVENT_MASK, &events);
    watch(root);
    if (const auto tree = xcbReply(xcb_query_tree_reply(c, xcb_query_tree(c, root), nullptr))) {
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i)
            watch(children[i]);
    }
    xcb_flush(c);
}

void X11ScreenChanges::watch(xcb_window_t window) {
    // One event when the window goes from untouched to touched, none after it until it is cleared. A window
    // gone before this arrives makes an error event, which the next look drops.
    xcb_damage_create(m_c, xcb_generate_id(m_c), window, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
}

bool X11ScreenChanges::changed() {
    if (!m_tracking || xcb_connection_has_error(m_c)) return true;
    bool touched = false;
    while (const XcbReply<xcb_generic_event_t> next = m_grabber.nextEvent()) {
        const xcb_generic_event_t* event = next.get();
        const uint8_t type = event->response_type & 0x7f;
        if (type == m_notify) {
            // Cleared before the grab: what the window draws from now on is seen at the next look.
            xcb_damage_subtract(m_c, reinterpret_cast<const xcb_damage_notify_event_t*>(event)->damage,
                                XCB_NONE, XCB_NONE);
            touched = true;
        } else if (type == XCB_CREATE_NOTIFY) {
            const auto* created = reinterpret_cast<const xcb_create_notify_event_t*>(event);
            if (created->parent == m_root) watch(created->window);
        } else {
            // A window mapped, unmapped, moved, restacked, reparented or destroyed.
            touched = touched || type == XCB_MAP_NOTIFY || type == XCB_UNMAP_NOTIFY ||
                      type == XCB_CONFIGURE_NOTIFY || type == XCB_DESTROY_NOTIFY ||
                      type == XCB_REPARENT_NOTIFY || type == XCB_CIRCULATE_NOTIFY;
        }
    }
    xcb_flush(m_c);
    return touched || xcb_connection_has_error(m_c) != 0;
}

} // namespace os
