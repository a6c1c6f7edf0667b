#include "surfaces/design/OVCard.h"

#include "surfaces/design/Appearance.h"

#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QVBoxLayout>

OVCard::OVCard(OVCardValue value, QWidget* content, QWidget* parent) : ValueWidget(value, parent) {
    auto* layout = new QVBoxLayout(this);
    const int inset = shadowMargin + value.padding;
    layout->setContentsMargins(inset, inset, inset, inset);
    if (content) setContent(content);
}

void OVCard::setContent(QWidget* content) {
    while (QLayoutItem* old = layout()->takeAt(0)) {
        delete old->widget();
        delete old;
    }
    layout()->addWidget(content);
}

void OVCard::paintEvent(QPaintEvent*) {
    const Pal& pal = palOf(this);
    const double r = value().radius;
    const QRectF card = QRectF(rect()).adjusted(shadowMargin, shadowMargin, -shadowMargin, -shadowMargin);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);

    // A soft shadow: rings a little below the card, each wider and fainter, drawn outermost first.
    p.setPen(Qt::NoPen);
    constexpr int rings = 10;
    for (int i = rings; i >= 1; --i) {
        QColor shade = pal.shadow;
        shade.setAlphaF(pal.shadow.alphaF() * 0.011f * float(rings - i + 1));
        const double grow = i * (shadowMargin - 2.0) / rings;
        p.setBrush(shade);
        p.drawRoundedRect(card.adjusted(-grow, -grow + 3, grow, grow + 3), r + grow, r + grow);
    }

    QPainterPath shape;
    shape.addRoundedRect(card.adjusted(0.5, 0.5, -0.5, -0.5), r, r);
    p.fillPath(shape, pal.bg1);
    if (value().glow) {
        QRadialGradient light(QPointF(card.center().x(), card.top()), card.width() * 0.6);
        QColor accent = pal.acFill;
        accent.setAlphaF(pal.isDark ? 0.10f : 0.16f);
        light.setColorAt(0, accent);
        accent.setAlphaF(0);
        light.setColorAt(1, accent);
        p.fillPath(shape, light);
    }
    p.strokePath(shape, QPen(pal.isDark ? pal.ln2 : pal.ln3, 1));
}
