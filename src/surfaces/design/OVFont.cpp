#include "surfaces/design/OVFont.h"

#include <QFontDatabase>

namespace OVFont {
namespace {
QFont sized(QFont font, double size, QFont::Weight weight) {
    font.setPointSizeF(size);
    font.setWeight(weight);
    return font;
}
} // namespace

QFont sans(double size, QFont::Weight weight) {
    return sized(QFontDatabase::systemFont(QFontDatabase::GeneralFont), size, weight);
}

QFont mono(double size, QFont::Weight weight) {
    return sized(QFontDatabase::systemFont(QFontDatabase::FixedFont), size, weight);
}
} // namespace OVFont
