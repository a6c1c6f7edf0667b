#pragma once

#include <QList>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <optional>

// Where the tray panel opens: under an icon on a top panel, above one on a bottom panel, beside one on a side
// panel; at the pointer when the tray gives no geometry but the click was on a panel; else at the top right
// of the main screen. The card stays 4 pixels inside the screen's free area.
namespace PopoverPlacement {

struct Screen {
    QRect geometry;
    QRect available; // without the desktop's panels
};

struct Request {
    std::optional<QRect> icon;     // the tray icon's geometry, when the tray gives one
    std::optional<QPoint> pointer; // the pointer at the activation
    QList<Screen> screens;         // the main screen first
    QSize outer;                   // the window: the card and its shadow margin on every side
    int margin = 0;                // the shadow margin
};

// The window's frame. Its height may be less than asked on a short screen; the card then scrolls.
QRect frame(const Request& request);

} // namespace PopoverPlacement
