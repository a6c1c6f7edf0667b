#pragma once

#include <QString>

namespace os {

// Asks the window manager to make `window` the active window (raised, with the keyboard focus) as a task bar
// would: a `_NET_ACTIVE_WINDOW` message with source indication 2 and the server's time now, which is no
// earlier than the user's last event. Window managers that keep programs from stealing the focus (openbox,
// KWin, Mutter) refuse a program's own request for a window the user did not click, and honour this one.
// `display` names the X display; empty means $DISPLAY. False when no X display answers.
bool activateX11Window(quint32 window, const QString& display = {});

// Moves `window` to the virtual desktop the user is on (`_NET_WM_DESKTOP` asked of the window manager), so
// that a window asked for again comes to the user instead of taking the user to another desktop. A window
// on every desktop stays so. `display` names the X display; empty means $DISPLAY. False when no X display or
// no desktop information answers.
bool moveX11WindowToCurrentDesktop(quint32 window, const QString& display = {});

// Gives the keyboard focus to a mapped window the window manager does not manage (an override-redirect
// panel): no window manager is asked, and none refuses. False when the window cannot take it.
bool focusX11Window(quint32 window, const QString& display = {});

} // namespace os
