#include "os/linux/X11WindowActivation.h"

#include <QLoggingCategory>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <xcb/xcb.h>

Q_LOGGING_CATEGORY(lcActivation, "x11.activation")

namespace os {
namespace {

using Connection = std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)>;

// A connection of its own, for one request; a failed one says why in the log.
Connection connectTo(const QString& display, const char* purpose) {
    const QByteArray name = display.toLocal8Bit();
    Connection c(xcb_connect(name.isEmpty() ? nullptr : name.constData(), nullptr), &xcb_disconnect);
    if (xcb_connection_has_error(c.get())) qCWarning(lcActivation) << "no X display to" << purpose;
    return c;
}

xcb_window_t rootOf(xcb_connection_t* c) {
    return xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
}

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

// A property of one 32-bit value (a window, a desktop number); nothing when it is not set.
std::optional<uint32_t> value32(xcb_connection_t* c, xcb_window_t window, xcb_atom_t property,
                                xcb_atom_t type) {
    std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> reply(
        xcb_get_property_reply(c, xcb_get_property(c, 0, window, property, type, 0, 1), nullptr), &std::free);
    if (!reply || xcb_get_property_value_length(reply.get()) < 4) return std::nullopt;
    return *static_cast<uint32_t*>(xcb_get_property_value(reply.get()));
}

// Asks the window manager for a change to `window` as a pager or task bar does, with a message to the root;
// waits until the server has it, as the connection closes right after.
bool askWindowManager(xcb_connection_t* c, xcb_window_t window, xcb_atom_t type,
                      const std::array<uint32_t, 3>& data) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = type;
    std::copy(data.begin(), data.end(), message.data.data32);
    xcb_send_event(c, 0, rootOf(c), XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    return !xcb_connection_has_error(c);
}

constexpr uint32_t allDesktops = 0xFFFFFFFF;
constexpr uint32_t fromPager = 2; // the source indication of a pager or task bar, which acts for the user

} // namespace

bool activateX11Window(quint32 window, const QString& display) {
    const Connection c = connectTo(display, "activate a window on");
    if (xcb_connection_has_error(c.get())) return false;
    const xcb_window_t root = rootOf(c.get());
    const xcb_atom_t netActive = atom(c.get(), "_NET_ACTIVE_WINDOW");
    return askWindowManager(c.get(), window, netActive,
                            {fromPager, serverTime(c.get(), root),
                             value32(c.get(), root, netActive, XCB_ATOM_WINDOW).value_or(XCB_NONE)});
}

bool moveX11WindowToCurrentDesktop(quint32 window, const QString& display) {
    const Connection c = connectTo(display, "move a window on");
    if (xcb_connection_has_error(c.get())) return false;
    const xcb_atom_t wmDesktop = atom(c.get(), "_NET_WM_DESKTOP");
    const std::optional<uint32_t> current =
        value32(c.get(), rootOf(c.get()), atom(c.get(), "_NET_CURRENT_DESKTOP"), XCB_ATOM_CARDINAL);
    const std::optional<uint32_t> on = value32(c.get(), window, wmDesktop, XCB_ATOM_CARDINAL);
    if (!current) return false;
    if (!on || *on == *current || *on == allDesktops) return true;
    return askWindowManager(c.get(), window, wmDesktop, {*current, fromPager, 0});
}

bool focusX11Window(quint32 window, const QString& display) {
    const Connection c = connectTo(display, "focus a window on");
    if (xcb_connection_has_error(c.get())) return false;
    // The current time: a time stamp older than the last change of focus would be ignored.
    const xcb_void_cookie_t cookie =
        xcb_set_input_focus_checked(c.get(), XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME);
    std::unique_ptr<xcb_generic_error_t, decltype(&std::free)> error(xcb_request_check(c.get(), cookie),
                                                                     &std::free);
    if (error) qCWarning(lcActivation) << "the window could not take the focus, X error" << error->error_code;
    return !error;
}

} // namespace os
