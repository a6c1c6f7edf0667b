#include "surfaces/popover/OpenBoardButton.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/Kbd.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/Symbol.h"

#include <QPainter>

namespace {
constexpr int ring = 3;
constexpr int bodyHeight = 40;
const QString key = QStringLiteral("Ctrl+O");
} // namespace

OpenBoardButton::OpenBoardButton(const PanelActions& actions, QWidget* parent) : QAbstractButton(parent) {
    setText(QStringLiteral("Open board"));
    setAttribute(Qt::WA_Hover);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(this, &QAbstractButton::clicked, this, [this, &actions] {
        if (m_id) actions.run(*m_id);
    });
}

void OpenBoardButton::setID(const std::optional<QString>& id) {
    m_id = id;
    setVisible(id.has_value());
}

void OpenBoardButton::select(const std::optional<QString>& id) {
    const bool selected = id && id == m_id;
    if (selected == m_selected) return;
    m_selected = selected;
    update();
}

QRect OpenBoardButton::areaOf(const QString& id) const {
    return id == m_id ? rect() : QRect();
}

QSize OpenBoardButton::sizeHint() const {
    return {240, bodyHeight + 2 * ring};
}

void OpenBoardButton::paintEvent(QPaintEvent*) {
    const Pal& pal = palOf(this);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF body = QRectF(rect()).adjusted(ring + 0.5, ring + 0.5, -ring - 0.5, -ring - 0.5);
    p.setPen(QPen(pal.ln3, 1));
    p.setBrush(underMouse() || isDown() ? pal.bg3 : pal.bg2);
    p.drawRoundedRect(body, 9, 9);
    if (m_selected) paintFocusRing(p, body, 9, pal);
    const int left = int(body.left()) + 14;
    Symbol::paint(p, QStringLiteral("rectangle.grid.2x2"), QRectF(left, body.center().y() - 8, 16, 16),
                  pal.tx);
    const QSize hint = Kbd::sizeFor(key);
    const QRect hintBox(
        QPoint(int(body.right()) - 12 - hint.width(), int(body.center().y()) - hint.height() / 2), hint);
    Kbd::paint(p, hintBox, key, pal);
    p.setFont(OVFont::sans(10.5, QFont::DemiBold));
    p.setPen(pal.tx);
    p.drawText(QRect(left + 26, 0, hintBox.left() - left - 34, height()), Qt::AlignLeft | Qt::AlignVCenter,
               text());
}
