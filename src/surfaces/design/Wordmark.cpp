#include "surfaces/design/Wordmark.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVFont.h"

#include <QFontMetricsF>
#include <QPainter>

namespace {
QFont markFont(double size) {
    QFont font = OVFont::mono(size, QFont::Bold);
    font.setLetterSpacing(QFont::PercentageSpacing, 110);
    return font;
}
} // namespace

Wordmark::Wordmark(WordmarkValue value, QWidget* parent) : ValueWidget(value, parent) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize Wordmark::sizeHint() const {
    const QFontMetricsF fm(markFont(value().size));
    return QSizeF(fm.horizontalAdvance(QStringLiteral("[ OR/VANE ]")) + 2, fm.height() + 4).toSize();
}

void Wordmark::paintEvent(QPaintEvent*) {
    const Pal& pal = palOf(this);
    const QFont font = markFont(value().size);
    const QFontMetricsF fm(font);
    QPainter p(this);
    p.setFont(font);
    const double baseline = (height() + fm.ascent() - fm.descent()) / 2;
    double x = 1;
    const std::pair<QString, QColor> parts[] = {{QStringLiteral("[ "), pal.tx3},
                                                {QStringLiteral("OR"), pal.tx},
                                                {QStringLiteral("/"), pal.ac},
                                                {QStringLiteral("VANE"), pal.tx},
                                                {QStringLiteral(" ]"), pal.tx3}};
    for (const auto& [text, color] : parts) {
        p.setPen(color);
        p.drawText(QPointF(x, baseline), text);
        x += fm.horizontalAdvance(text);
    }
}
