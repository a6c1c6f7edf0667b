#pragma once

#include <QColor>

// The brand's three colours.
namespace Brand {
inline QColor lime() {
    return QColor::fromRgbF(0.77647f, 1.0f, 0.23922f);
}
inline QColor bg() {
    return QColor::fromRgbF(0.07f, 0.075f, 0.08f);
}
inline QColor red() {
    return QColor::fromRgbF(0.9f, 0.28f, 0.3f);
}
} // namespace Brand
