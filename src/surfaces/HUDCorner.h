#pragma once

#include <QList>
#include <QPoint>
#include <QRect>
#include <QString>
#include <optional>

// Where the recording panel stands: the top-right corner of its card, kept under `hud.topRight` as "{x, y}"
// in logical pixels. The corner, not the origin, because the panel grows leftward and downward when it
// changes size.
namespace HUDCorner {
std::optional<QPoint> parse(const QString& text);
QString text(QPoint corner);
// The stored corner when it lies on one of the screens, else the default near the top right of the primary
// screen's available area.
QPoint wanted(std::optional<QPoint> stored, const QList<QRect>& screens, const QRect& primaryAvailable);
} // namespace HUDCorner
