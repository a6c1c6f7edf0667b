#pragma once

#include <QPoint>
#include <QRect>
#include <optional>

// Where the tray icon was clicked, for placing what opens from it: the icon's rectangle on the screen when
// the tray tells a usable one, and the pointer at the click.
struct TrayAnchor {
    std::optional<QRect> icon;
    QPoint pointer;
};
