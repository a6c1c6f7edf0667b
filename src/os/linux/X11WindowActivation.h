#pragma once

#include <QString>

namespace os {

// Asks the window manager to make `window` the active window (raised, with the keyboard focus) as a task bar
// would: a `_NET_ACTIVE_WINDOW` message with source indication 2 and the server's time now, which is no
// earlier than the user's last event. Window managers that keep programs from stealing the focus (openbox,
// KWin, Mutter) refuse a program's own request for a window the user did not click, and honour this one.
// `display` names the X display; empty means $DISPLAY. False when no X display answers.
bool activateX11Window(quint32 window, const QString& display = {});

} // namespace os
