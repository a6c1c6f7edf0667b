#pragma once

#include <QFont>

// The two type families: the system's interface font and its monospaced one. Sizes are in points.
namespace OVFont {
QFont sans(double size, QFont::Weight weight = QFont::Normal);
QFont mono(double size, QFont::Weight weight = QFont::Normal);
} // namespace OVFont
