#include "surfaces/design/OVRow.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/Kbd.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/Symbol.h"

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
constexpr int symbolSize = 14;

int trailingWidth(const OVRowValue& v) {
    switch (v.trailingAs) {
    case OVRowValue::Trailing::text:
        return QFontMetrics(sideFont()).horizontalAdvance(*v.trailing);
    case OVRowValue::Trailing::key:
        return Kbd::sizeFor(*v.trailing).width();
    case OVRowValue::Trailing::symbol:
        return symbolSize;
    }
    return 0;
}
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
    if (v.trailing) width += padding + trailingWidth(v);
    return {width, v.detail ? 40 : 30};
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
        Symbol::paint(p, *v.symbol,
                      QRectF(inner.left(), (height() - symbolSize) / 2.0, symbolSize, symbolSize),
                      v.dim ? pal.tx3 : pal.tx2);
        inner.setLeft(inner.left() + symbolColumn);
    }
    if (v.trailing) {
        const int width = trailingWidth(v);
        const QRect side(inner.right() + 1 - width, 0, width, height());
        switch (v.trailingAs) {
        case OVRowValue::Trailing::text:
            p.setFont(sideFont());
            p.setPen(pal.tx3);
            p.drawText(side, Qt::AlignRight | Qt::AlignVCenter, *v.trailing);
            break;
        case OVRowValue::Trailing::key: {
            const QSize key = Kbd::sizeFor(*v.trailing);
            Kbd::paint(p, QRect(QPoint(side.left(), (height() - key.height()) / 2), key), *v.trailing, pal);
            break;
        }
        case OVRowValue::Trailing::symbol:
            Symbol::paint(p, *v.trailing,
                          QRectF(side.left(), (height() - symbolSize) / 2.0, width, symbolSize), pal.tx3);
            break;
        }
        inner.setRight(side.left() - padding);
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
