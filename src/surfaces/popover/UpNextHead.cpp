#include "surfaces/popover/UpNextHead.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/Symbol.h"

#include <QPainter>

namespace {
QFont headFont() {
    QFont font = OVFont::mono(7.5, QFont::Medium);
    font.setLetterSpacing(QFont::PercentageSpacing, 108);
    return font;
}
} // namespace

UpNextHead::UpNextHead(const PanelActions& actions, QWidget* parent) : QAbstractButton(parent) {
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(this, &QAbstractButton::clicked, this, [this, &actions] {
        if (m_value.toggle) actions.run(*m_value.toggle);
    });
}

void UpNextHead::setValue(const Value& value) {
    if (value == m_value) return;
    m_value = value;
    setCursor(value.toggle ? Qt::PointingHandCursor : Qt::ArrowCursor);
    update();
}

void UpNextHead::select(const std::optional<QString>& id) {
    const bool selected = id && id == m_value.toggle;
    if (selected == m_selected) return;
    m_selected = selected;
    update();
}

QRect UpNextHead::areaOf(const QString& id) const {
    return id == m_value.toggle ? rect() : QRect();
}

QSize UpNextHead::sizeHint() const {
    return {240, 26};
}

void UpNextHead::paintEvent(QPaintEvent*) {
    const Pal& pal = palOf(this);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    if (m_selected || (m_value.toggle && underMouse())) {
        p.setPen(Qt::NoPen);
        p.setBrush(m_selected ? pal.ln2 : pal.ln);
        p.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 7, 7);
    }
    const QRect inner = rect().adjusted(6, 0, -6, 0);
    p.setFont(headFont());
    p.setPen(pal.tx3);
    p.drawText(inner, Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("// UP NEXT"));
    const QRectF chevron(inner.right() - 12, (height() - 12) / 2.0, 12, 12);
    Symbol::paint(p, m_value.open ? QStringLiteral("chevron.down") : QStringLiteral("chevron.right"), chevron,
                  pal.tx3);
    p.setPen(m_value.count > 0 ? pal.tx2 : pal.tx3);
    p.drawText(inner.adjusted(0, 0, -20, 0), Qt::AlignRight | Qt::AlignVCenter,
               QString::number(m_value.count));
}
