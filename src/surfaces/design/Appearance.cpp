#include "surfaces/design/Appearance.h"

#include <QVariant>
#include <QWidget>

namespace {
constexpr char schemeProperty[] = "orvaneColorScheme";
}

void fixScheme(QWidget* widget, ColorScheme scheme) {
    widget->setProperty(schemeProperty, QVariant::fromValue(int(scheme)));
    widget->update();
}

const Pal& palOf(const QWidget* widget) {
    for (const QWidget* w = widget; w; w = w->parentWidget()) {
        const QVariant fixed = w->property(schemeProperty);
        if (fixed.isValid()) return Pal::of(ColorScheme(fixed.toInt()));
    }
    return Pal::of(colorSchemeOf(widget->palette()));
}
