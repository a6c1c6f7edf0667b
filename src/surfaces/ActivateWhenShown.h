#pragma once

#include <QWidget>
#include <functional>

// Whether a window manager focuses a new window of a program the user is not working in depends on its rules
// and on that program's last event. A window Orvane puts up by itself (an alert, the note after a hot key)
// therefore maps without asking for the focus and is activated once shown, as a task bar would, which every
// window manager honours. Call before the window is shown; without `activate` the window shows as usual.
void activateWhenShown(QWidget& window, std::function<void(WId)> activate);
