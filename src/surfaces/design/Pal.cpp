#include "surfaces/design/Pal.h"

#include <QGuiApplication>
#include <QPalette>

namespace {
QColor white(double opacity) {
    return Pal::hex(0xFFFFFF, opacity);
}
QColor ink(double opacity) {
    return Pal::hex(0x101317, opacity);
}
QColor black(double opacity) {
    return Pal::hex(0x000000, opacity);
}
} // namespace

QColor Pal::hex(std::uint32_t rgb, double opacity) {
    QColor color(QRgb(rgb & 0xFFFFFFu));
    color.setAlphaF(float(opacity));
    return color;
}

const Pal& Pal::dark() {
    static const Pal pal{hex(0x07080B), hex(0x101114), hex(0x15161A), hex(0x1F2125), white(0.07),
                         white(0.10),   white(0.16),   hex(0xF3F5F8), hex(0xA3A8B0), hex(0x6A7079),
                         hex(0xC6FF3D), hex(0xC6FF3D), hex(0x0B0D07), hex(0xC9D2DC), hex(0xFF4D5E),
                         hex(0xFFB547), hex(0x22D67A), black(0.55),   true};
    return pal;
}

const Pal& Pal::light() {
    static const Pal pal{hex(0xFBFBFA), hex(0xFFFFFF), hex(0xFFFFFF), hex(0xEEF0F3), ink(0.08),
                         ink(0.12),     ink(0.20),     hex(0x101317), hex(0x4E545D), hex(0x858B94),
                         hex(0x4A8A00), hex(0xC6FF3D), hex(0x0B0D07), hex(0x66707F), hex(0xE03232),
                         hex(0xB86E00), hex(0x12995A), black(0.22),   false};
    return pal;
}

const Pal& Pal::of(ColorScheme scheme) {
    return scheme == ColorScheme::dark ? dark() : light();
}

const Pal& Pal::system() {
    return of(colorSchemeOf(QGuiApplication::palette()));
}

ColorScheme colorSchemeOf(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < 128 ? ColorScheme::dark : ColorScheme::light;
}
