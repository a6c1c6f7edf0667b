#include "os/linux/X11WindowActivation.h"

#include <QLoggingCategory>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <xcb/xcb.h>

Q_LOGGING_CATEGORY(lcActivation, "x11.activation")

namespace os {
namespace {

xcb_atom_t atom(xcb_connection_t* c, const char* name) {
    std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr),
        &std::free);
    return reply ? reply->atom : xcb_atom_t(XCB_NONE);
}

// The server's time now: a property change on a window of our own comes back with its time stamp.
xcb_timestamp_t serverTime(xcb_connection_t* c, xcb_window_t root) {
    const xcb_window_t probe = xcb_generate_id(c);
    const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(c, 0, probe, root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT,
                      XCB_CW_EVENT_MASK, &mask);
    xcb_change_property(c, XCB_PROP_MODE_APPEND, probe, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 0, nullptr);
    xcb_flush(c);
    xcb_timestamp_t time = XCB_CURRENT_TIME;
    while (xcb_generic_event_t* event = xcb_wait_for_event(c)) {
        const bool found = (event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY;
        if (found) time = reinterpret_cast<xcb_property_notify_event_t*>(event)->time;
        std::free(event);
        if (found) break;
    }
    xcb_destroy_window(c, probe);
    return time;
}

xcb_window_t activeWindow(xcb_connection_t* c, xcb_window_t root, xcb_atom_t netActive) {
    std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> reply(
        xcb_get_property_reply(c, xcb_get_property(c, 0, root, netActive, XCB_ATOM_WINDOW, 0, 1), nullptr),
        &std::free);
    if (!reply || xcb_get_property_value_length(reply.get()) < 4) return XCB_NONE;
    return *static_cast<xcb_window_t*>(xcb_get_property_value(reply.get()));
}

} // namespace

bool activateX11Window(quint32 window, const QString& display) {
    const QByteArray name = display.toLocal8Bit();
    std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> c(
        xcb_connect(name.isEmpty() ? nullptr : name.constData(), nullptr), &xcb_disconnect);
    if (xcb_connection_has_error(c.get())) {
        qCWarning(lcActivation) << "no X display to activate a window on";
        return false;
    }
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c.get())).data->root;
    const xcb_atom_t netActive = atom(c.get(), "_NET_ACTIVE_WINDOW");
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = netActive;
    message.data.data32[0] = 2; // from a pager or task bar, which acts for the user
    message.data.data32[1] = serverTime(c.get(), root);
    message.data.data32[2] = activeWindow(c.get(), root, netActive);
    xcb_send_event(c.get(), 0, root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    // A round trip, so that the message has reached the server before the connection closes.
    std::free(xcb_get_input_focus_reply(c.get(), xcb_get_input_focus(c.get()), nullptr));
    return !xcb_connection_has_error(c.get());
}

} // namespace os
