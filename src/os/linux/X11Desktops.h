#pragma once

#include <QString>

namespace os {

// Moves `window` to the virtual desktop the user is on (`_NET_WM_DESKTOP` asked of the window manager), so
// that a window asked for again comes to the user instead of taking the user to another desktop. A window
// on every desktop stays so. `display` names the X display; empty means $DISPLAY. False when no X display or
// no desktop information answers.
bool moveX11WindowToCurrentDesktop(quint32 window, const QString& display = {});

} // namespace os
