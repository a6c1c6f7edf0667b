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

QPalette controlPalette(const Pal& pal) {
    QPalette p;
    for (const auto group : {QPalette::Active, QPalette::Inactive}) {
        p.setColor(group, QPalette::Window, pal.bg);
        p.setColor(group, QPalette::WindowText, pal.tx);
        p.setColor(group, QPalette::Base, pal.bg3);
        p.setColor(group, QPalette::AlternateBase, pal.bg2);
        p.setColor(group, QPalette::Text, pal.tx);
        p.setColor(group, QPalette::PlaceholderText, pal.tx3);
        p.setColor(group, QPalette::Button, pal.bg3);
        p.setColor(group, QPalette::ButtonText, pal.tx);
        p.setColor(group, QPalette::Highlight, pal.acFill);
        p.setColor(group, QPalette::HighlightedText, pal.acInk);
        p.setColor(group, QPalette::ToolTipBase, pal.bg2);
        p.setColor(group, QPalette::ToolTipText, pal.tx);
        p.setColor(group, QPalette::Light, pal.ln3);
        p.setColor(group, QPalette::Midlight, pal.ln2);
        p.setColor(group, QPalette::Mid, pal.ln2);
        p.setColor(group, QPalette::Dark, pal.bg);
        p.setColor(group, QPalette::Shadow, pal.shadow);
    }
    p.setColor(QPalette::Disabled, QPalette::Window, pal.bg);
    p.setColor(QPalette::Disabled, QPalette::Base, pal.bg2);
    p.setColor(QPalette::Disabled, QPalette::Button, pal.bg2);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        p.setColor(QPalette::Disabled, role, pal.tx3);
    return p;
}
