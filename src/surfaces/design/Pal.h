#pragma once

#include <QColor>
#include <cstdint>

class QPalette;

enum class ColorScheme { light, dark };

// One palette of the interface: a plain record of colours and whether it is the dark one.
struct Pal {
    QColor bg;     // window ground
    QColor bg1;    // card
    QColor bg2;    // raised
    QColor bg3;    // control
    QColor ln;     // hairline
    QColor ln2;    // line
    QColor ln3;    // strong line
    QColor tx;     // text
    QColor tx2;    // secondary text
    QColor tx3;    // tertiary text
    QColor ac;     // accent as text
    QColor acFill; // accent fill
    QColor acInk;  // text on the accent fill
    QColor silver; // quiet tone
    QColor red;
    QColor amber;
    QColor up; // positive
    QColor shadow;
    bool isDark = true;

    static const Pal& dark();
    static const Pal& light();
    static const Pal& of(ColorScheme scheme);
    // The palette that matches the desktop's current light or dark setting.
    static const Pal& system();

    // A colour from 0xRRGGBB.
    static QColor hex(std::uint32_t rgb, double opacity = 1.0);
};

// Qt 6.4 has no colour-scheme hint: a desktop in dark mode shows as a dark window colour in the application
// palette.
ColorScheme colorSchemeOf(const QPalette& palette);
