#pragma once

#include <QPoint>
#include <QRect>
#include <optional>

// Where the tray was clicked: the icon's geometry when the tray tells it, and the pointer at the click.
struct TrayAnchor {
    std::optional<QRect> icon;
    QPoint pointer;
};
