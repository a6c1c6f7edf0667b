#include "surfaces/FloatingPanel.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVCard.h"

#include <QPainterPath>
#include <QPropertyAnimation>

namespace {
constexpr int fadeMs = 180;

Qt::WindowFlags flagsFor(FloatingPanel::Focus focus) {
    if (focus == FloatingPanel::Focus::menu)
        return Qt::Window | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint |
               Qt::WindowStaysOnTopHint;
    return Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus;
}
} // namespace

FloatingPanel::FloatingPanel(bool composited, Focus focus)
    : QWidget(nullptr, flagsFor(focus)), m_composited(composited) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_AlwaysShowToolTips);
    if (composited) setAttribute(Qt::WA_TranslucentBackground);
}

void FloatingPanel::fitTo(OVCard& card, std::optional<QSize> size) {
    setFixedSize(size.value_or(card.sizeHint().expandedTo(card.minimumSize()).boundedTo(card.maximumSize())));
    if (m_composited) return;
    // The shadow needs a clear ground; the cut keeps the card, and the ground under its antialiased edge is
    // the card's own colour.
    const int m = OVCard::shadowMargin;
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rect()).adjusted(m, m, -m, -m), card.value().radius, card.value().radius);
    setMask(QRegion(shape.toFillPolygon().toPolygon()));
    QPalette ground = palette();
    ground.setColor(QPalette::Window, palOf(&card).bg1);
    setPalette(ground);
}

void FloatingPanel::place(QPoint origin) {
    m_origin = origin;
    move(origin);
}

QRect FloatingPanel::cardFrame() const {
    const int m = OVCard::shadowMargin;
    return QRect(m_origin, size()).adjusted(m, m, -m, -m);
}

void FloatingPanel::appear(const Motion& motion) {
    if (m_fade) m_fade->stop();
    if (!m_composited || motion.reduced()) {
        setWindowOpacity(1);
        show();
        return;
    }
    if (!isVisible()) setWindowOpacity(0);
    show();
    fade(1, {});
}

void FloatingPanel::vanish(const Motion& motion) {
    if (m_fade) m_fade->stop();
    if (!m_composited || motion.reduced() || !isVisible()) {
        hide();
        return;
    }
    fade(0, [this] { hide(); });
}

void FloatingPanel::fade(double to, std::function<void()> done) {
    auto* fade = new QPropertyAnimation(this, "windowOpacity", this);
    fade->setDuration(fadeMs);
    fade->setEndValue(to);
    if (done) connect(fade, &QPropertyAnimation::finished, this, std::move(done));
    m_fade = fade;
    fade->start(QAbstractAnimation::DeleteWhenStopped);
}
