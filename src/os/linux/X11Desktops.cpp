#include "os/linux/X11Desktops.h"

#include <QLoggingCategory>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <xcb/xcb.h>

Q_LOGGING_CATEGORY(lcDesktops, "x11.desktops")

namespace os {
namespace {

using Connection = std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)>;

xcb_atom_t atom(xcb_connection_t* c, const char* name) {
    std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr),
        &std::free);
    return reply ? reply->atom : xcb_atom_t(XCB_NONE);
}

std::optional<uint32_t> cardinal(xcb_connection_t* c, xcb_window_t window, xcb_atom_t property) {
    std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> reply(
        xcb_get_property_reply(c, xcb_get_property(c, 0, window, property, XCB_ATOM_CARDINAL, 0, 1), nullptr),
        &std::free);
    if (!reply || xcb_get_property_value_length(reply.get()) < 4) return std::nullopt;
    return *static_cast<uint32_t*>(xcb_get_property_value(reply.get()));
}

constexpr uint32_t allDesktops = 0xFFFFFFFF;

} // namespace

bool moveX11WindowToCurrentDesktop(quint32 window, const QString& display) {
    const QByteArray name = display.toLocal8Bit();
    Connection c(xcb_connect(name.isEmpty() ? nullptr : name.constData(), nullptr), &xcb_disconnect);
    if (xcb_connection_has_error(c.get())) {
        qCWarning(lcDesktops) << "no X display to move a window on";
        return false;
    }
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c.get())).data->root;
    const xcb_atom_t wmDesktop = atom(c.get(), "_NET_WM_DESKTOP");
    const std::optional<uint32_t> current = cardinal(c.get(), root, atom(c.get(), "_NET_CURRENT_DESKTOP"));
    const std::optional<uint32_t> on = cardinal(c.get(), window, wmDesktop);
    if (!current) return false;
    if (!on || *on == *current || *on == allDesktops) return true;
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = wmDesktop;
    message.data.data32[0] = *current;
    message.data.data32[1] = 2; // from a pager, which acts for the user
    xcb_send_event(c.get(), 0, root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    // A round trip, so that the message has reached the server before the connection closes.
    std::free(xcb_get_input_focus_reply(c.get(), xcb_get_input_focus(c.get()), nullptr));
    return !xcb_connection_has_error(c.get());
}

} // namespace os
