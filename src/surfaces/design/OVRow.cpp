#include "surfaces/design/OVRow.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVFont.h"

#include <QFontMetrics>
#include <QPainter>

namespace {
QFont titleFont() {
    return OVFont::sans(9.5, QFont::Medium);
}
QFont detailFont() {
    return OVFont::sans(8.5);
}
QFont sideFont() {
    return OVFont::mono(8);
}
constexpr int padding = 10;
constexpr int symbolColumn = 22;
} // namespace

OVRow::OVRow(OVRowValue value, QWidget* parent) : ValueWidget(std::move(value), parent) {
    setAttribute(Qt::WA_Hover); // repaints on entering and leaving
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize OVRow::sizeHint() const {
    const OVRowValue& v = value();
    int width = 2 * padding + QFontMetrics(titleFont()).horizontalAdvance(v.title);
    if (v.symbol) width += symbolColumn;
    if (v.trailing) width += padding + QFontMetrics(sideFont()).horizontalAdvance(*v.trailing);
    return {width, v.detail ? 44 : 30};
}

void OVRow::paintEvent(QPaintEvent*) {
    const Pal& pal = palOf(this);
    const OVRowValue& v = value();
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    if (v.selected || underMouse()) {
        p.setPen(Qt::NoPen);
        p.setBrush(v.selected ? pal.ln2 : pal.ln);
        p.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 7, 7);
    }
    QRect inner = rect().adjusted(padding, 0, -padding, 0);
    if (v.symbol) {
        p.setFont(OVFont::sans(10));
        p.setPen(v.dim ? pal.tx3 : pal.tx2);
        p.drawText(QRect(inner.left(), 0, symbolColumn, height()), Qt::AlignLeft | Qt::AlignVCenter,
                   *v.symbol);
        inner.setLeft(inner.left() + symbolColumn);
    }
    if (v.trailing) {
        p.setFont(sideFont());
        p.setPen(pal.tx3);
        const int width = QFontMetrics(sideFont()).horizontalAdvance(*v.trailing);
        p.drawText(inner, Qt::AlignRight | Qt::AlignVCenter, *v.trailing);
        inner.setRight(inner.right() - width - padding);
    }
    const QFontMetrics titleMetrics(titleFont());
    p.setFont(titleFont());
    p.setPen(v.dim ? pal.tx3 : pal.tx);
    if (!v.detail) {
        p.drawText(inner, Qt::AlignLeft | Qt::AlignVCenter,
                   titleMetrics.elidedText(v.title, Qt::ElideRight, inner.width()));
        return;
    }
    const QRect top(inner.left(), 6, inner.width(), height() / 2 - 4);
    const QRect bottom(inner.left(), height() / 2 + 1, inner.width(), height() / 2 - 6);
    p.drawText(top, Qt::AlignLeft | Qt::AlignBottom,
               titleMetrics.elidedText(v.title, Qt::ElideRight, inner.width()));
    p.setFont(detailFont());
    p.setPen(v.dim ? pal.tx3 : pal.tx2);
    p.drawText(bottom, Qt::AlignLeft | Qt::AlignTop,
               QFontMetrics(detailFont()).elidedText(*v.detail, Qt::ElideRight, inner.width()));
}
