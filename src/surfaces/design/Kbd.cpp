#include "surfaces/design/Kbd.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVFont.h"

#include <QFontMetrics>
#include <QPainter>

namespace {
QFont kbdFont() {
    return OVFont::mono(7.5, QFont::Medium);
}
constexpr int padding = 5;
constexpr int boxHeight = 18;
} // namespace

Kbd::Kbd(KbdValue value, QWidget* parent) : ValueWidget(std::move(value), parent) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize Kbd::sizeHint() const {
    return {QFontMetrics(kbdFont()).horizontalAdvance(value().text) + 2 * padding, boxHeight};
}

void Kbd::paintEvent(QPaintEvent*) {
    const Pal& pal = palOf(this);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(pal.ln2, 1));
    p.setBrush(pal.bg3);
    p.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
    p.setFont(kbdFont());
    p.setPen(pal.tx2);
    p.drawText(rect(), Qt::AlignCenter, value().text);
}
