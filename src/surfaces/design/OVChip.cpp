#include "surfaces/design/OVChip.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVFont.h"

#include <QFontMetrics>
#include <QPainter>

namespace {
QFont chipFont() {
    QFont font = OVFont::mono(7, QFont::DemiBold);
    font.setCapitalization(QFont::AllUppercase);
    font.setLetterSpacing(QFont::PercentageSpacing, 106);
    return font;
}
constexpr int padding = 6;
constexpr int chipHeight = 18;
} // namespace

OVChip::OVChip(OVChipValue value, QWidget* parent) : ValueWidget(std::move(value), parent) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize OVChip::sizeHint() const {
    return {QFontMetrics(chipFont()).horizontalAdvance(value().text) + 2 * padding, chipHeight};
}

void OVChip::paintEvent(QPaintEvent*) {
    const Pal& pal = palOf(this);
    const QColor ink = toneColor(value().tone, pal);
    QColor fill = ink, line = ink;
    fill.setAlphaF(value().tone == Tone::plain ? 0.08f : 0.12f);
    line.setAlphaF(value().tone == Tone::plain ? 0.22f : 0.35f);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    p.setPen(QPen(line, 1));
    p.setBrush(fill);
    p.drawRoundedRect(box, 4, 4);
    p.setFont(chipFont());
    p.setPen(ink);
    p.drawText(rect(), Qt::AlignCenter, value().text);
}
