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
    return sizeFor(value().text);
}

QSize Kbd::sizeFor(const QString& text) {
    return {QFontMetrics(kbdFont()).horizontalAdvance(text) + 2 * padding, boxHeight};
}

void Kbd::paintEvent(QPaintEvent*) {
    QPainter p(this);
    paint(p, rect(), value().text, palOf(this));
}

void Kbd::paint(QPainter& p, const QRect& box, const QString& text, const Pal& pal) {
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(pal.ln2, 1));
    p.setBrush(pal.bg3);
    p.drawRoundedRect(QRectF(box).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
    p.setFont(kbdFont());
    p.setPen(pal.tx2);
    p.drawText(box, Qt::AlignCenter, text);
    p.restore();
}
