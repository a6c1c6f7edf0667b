#include "surfaces/design/OVButton.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVFont.h"

#include <QFontMetrics>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace {
QFont buttonFont() {
    return OVFont::sans(9, QFont::DemiBold);
}
constexpr int ring = 3; // room for the focus ring round the body
constexpr int padding = 12;

struct Look {
    QColor fill, line, text;
};

Look lookOf(OVButtonStyle::Kind kind, const Pal& pal, bool hover, bool down) {
    const auto tint = [](QColor c, float alpha) {
        c.setAlphaF(alpha);
        return c;
    };
    switch (kind) {
    case OVButtonStyle::Kind::primary:
        return {down    ? pal.acFill.darker(112)
                : hover ? pal.acFill.lighter(108)
                        : pal.acFill,
                Qt::transparent, pal.acInk};
    case OVButtonStyle::Kind::ghost:
        return {hover || down ? pal.bg3 : QColor(Qt::transparent), pal.ln3, pal.tx};
    case OVButtonStyle::Kind::quiet:
        return {hover || down ? pal.bg3 : QColor(Qt::transparent), Qt::transparent, pal.tx2};
    case OVButtonStyle::Kind::danger:
        return {tint(pal.red, down ? 0.24f : hover ? 0.16f : 0.08f), tint(pal.red, 0.45f), pal.red};
    }
    return {};
}
} // namespace

void paintFocusRing(QPainter& p, const QRectF& body, double radius, const Pal& pal) {
    QColor focus = pal.ac;
    focus.setAlphaF(0.75f);
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(focus, 2));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(body.adjusted(-2, -2, 2, 2), radius + 2, radius + 2);
    p.restore();
}

OVButton::OVButton(const QString& title, OVButtonStyle style, QWidget* parent) : ValueWidget(style, parent) {
    setText(title);
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover); // repaints on entering and leaving
    valueChanged();
}

void OVButton::valueChanged() {
    setSizePolicy(value().full ? QSizePolicy::Expanding : QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize OVButton::sizeHint() const {
    const int title = int(std::ceil(QFontMetricsF(buttonFont()).horizontalAdvance(text())));
    return {title + 2 * (padding + ring), value().height + 2 * ring};
}

void OVButton::paintEvent(QPaintEvent*) {
    const Pal& pal = palOf(this);
    const Look look = lookOf(value().kind, pal, underMouse(), isDown());
    const QRectF body = QRectF(rect()).adjusted(ring + 0.5, ring + 0.5, -ring - 0.5, -ring - 0.5);
    const double radius = std::min(8.0, body.height() / 2);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(look.line.alpha() ? QPen(look.line, 1) : QPen(Qt::NoPen));
    p.setBrush(look.fill);
    p.drawRoundedRect(body, radius, radius);
    if (value().selected) paintFocusRing(p, body, radius, pal);
    p.setFont(buttonFont());
    p.setPen(look.text);
    // A title longer than the button is cut, so that a long name never widens what holds the button.
    p.drawText(
        body, Qt::AlignCenter,
        QFontMetricsF(buttonFont()).elidedText(text(), Qt::ElideRight, width() - 2.0 * (ring + padding)));
}
