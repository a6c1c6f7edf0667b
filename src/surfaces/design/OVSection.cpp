#include "surfaces/design/OVSection.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVFont.h"

#include <QFontMetrics>
#include <QPainter>

namespace {
QFont headFont() {
    QFont font = OVFont::mono(7.5, QFont::Medium);
    font.setLetterSpacing(QFont::PercentageSpacing, 108);
    return font;
}
QString headText(const OVSectionValue& v) {
    return QStringLiteral("// ") + v.title.toUpper();
}
constexpr int rowHeight = 22;
constexpr int gap = 12;
} // namespace

OVSection::OVSection(OVSectionValue value, QWidget* parent) : ValueWidget(std::move(value), parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize OVSection::sizeHint() const {
    const QFontMetrics fm(headFont());
    int width = fm.horizontalAdvance(headText(value()));
    if (value().trailing) width += gap + fm.horizontalAdvance(*value().trailing);
    const QMargins m = contentsMargins();
    return {width + m.left() + m.right(), rowHeight};
}

void OVSection::paintEvent(QPaintEvent*) {
    const Pal& pal = palOf(this);
    QPainter p(this);
    p.setFont(headFont());
    p.setPen(pal.tx3);
    const QRect inner = contentsRect();
    p.drawText(inner, Qt::AlignLeft | Qt::AlignVCenter, headText(value()));
    if (value().trailing) p.drawText(inner, Qt::AlignRight | Qt::AlignVCenter, *value().trailing);
}
