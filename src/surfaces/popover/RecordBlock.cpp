#include "surfaces/popover/RecordBlock.h"

#include "core/Fmt.h"
#include "surfaces/design/Appearance.h"
#include "surfaces/design/Kbd.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/Orb.h"

#include <QFontMetrics>
#include <QPainter>

namespace {
constexpr int blockHeight = 56;
constexpr int ring = 3; // room for the selection ring round the tile
constexpr int inset = 14;
constexpr int orbSize = 30;
const QString tuneInKey = QStringLiteral("Ctrl+Alt+R");

QColor alpha(QColor c, float a) {
    c.setAlphaF(a);
    return c;
}
} // namespace

RecordBlock::RecordBlock(const PanelActions& actions, const LiveMeter* meter, Motion motion, QWidget* parent)
    : QAbstractButton(parent), m_actions(actions), m_value{Rec::Idle{}, std::nullopt},
      m_orb(new Orb({orbSize, false}, motion, meter, this)),
      m_wrap(new OVButton(QStringLiteral("Wrap up"), {OVButtonStyle::Kind::primary, 28}, this)) {
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_orb->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_wrap->hide();
    // The tile acts only while idle; while recording the action is the "Wrap up" button's.
    connect(this, &QAbstractButton::clicked, this, [this] {
        if (idle() && m_value.id) m_actions.run(*m_value.id);
    });
    connect(m_wrap, &QAbstractButton::clicked, this, [this] {
        if (m_value.id) m_actions.run(*m_value.id);
    });
}

void RecordBlock::setValue(Value value) {
    if (value == m_value) return;
    m_value = std::move(value);
    const Rec::Recording* r = recording();
    // Only a change of state reaches the orb: the clock moves every second.
    const OrbValue orb{orbSize, r != nullptr, r && !r->mic ? Tone::amber : Tone::accent};
    if (orb.live != m_orb->value().live || orb.tone != m_orb->value().tone) m_orb->setValue(orb);
    m_wrap->setVisible(r != nullptr);
    setCursor(idle() ? Qt::PointingHandCursor : Qt::ArrowCursor);
    update();
}

void RecordBlock::setSnapshot(bool snapshot) {
    m_orb->setSnapshot(snapshot);
}

void RecordBlock::select(const std::optional<QString>& id) {
    const bool selected = id && id == m_value.id;
    if (selected == m_selected) return;
    m_selected = selected;
    // The ring goes round the tile while idle and round "Wrap up" while recording.
    OVButtonStyle style = m_wrap->value();
    style.selected = selected;
    m_wrap->setValue(style);
    update();
}

QRect RecordBlock::areaOf(const QString& id) const {
    if (id != m_value.id) return {};
    return recording() ? m_wrap->geometry() : rect();
}

QSize RecordBlock::sizeHint() const {
    return {240, blockHeight};
}

void RecordBlock::resizeEvent(QResizeEvent*) {
    m_orb->setGeometry(inset, (height() - orbSize) / 2, orbSize, orbSize);
    const QSize wrap = m_wrap->sizeHint();
    m_wrap->setGeometry(width() - inset + 2 - wrap.width(), (height() - wrap.height()) / 2, wrap.width(),
                        wrap.height());
}

void RecordBlock::paintEvent(QPaintEvent*) {
    const Pal& pal = palOf(this);
    const Rec::Recording* r = recording();
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF tile = QRectF(rect()).adjusted(ring + 0.5, ring + 0.5, -ring - 0.5, -ring - 0.5);
    const bool hot = idle() && (underMouse() || isDown());
    p.setPen(QPen(r ? alpha(pal.red, 0.35f) : pal.ln2, 1));
    p.setBrush(r ? alpha(pal.red, pal.isDark ? 0.07f : 0.05f) : hot ? pal.bg3 : pal.bg2);
    p.drawRoundedRect(tile, 11, 11);
    if (m_selected && !r) paintFocusRing(p, tile, 11, pal);

    QRect text = rect().adjusted(inset + orbSize + 12, 0, -inset, 0);
    if (r) {
        text.setRight(m_wrap->geometry().left() - 8);
        paintRecording(p, text, *r);
    } else if (idle()) {
        paintIdle(p, text);
    } else {
        p.setFont(OVFont::sans(10.5, QFont::Medium));
        p.setPen(pal.tx2);
        p.drawText(text, Qt::AlignLeft | Qt::AlignVCenter,
                   std::holds_alternative<Rec::Starting>(m_value.rec)
                       ? QStringLiteral("Tuning in\u2026")
                       : QStringLiteral("Saving session\u2026"));
    }
}

void RecordBlock::paintIdle(QPainter& p, const QRect& text) {
    const Pal& pal = palOf(this);
    const QSize key = Kbd::sizeFor(tuneInKey);
    Kbd::paint(p, QRect(QPoint(text.right() + 1 - key.width(), (height() - key.height()) / 2), key),
               tuneInKey, pal);
    const QFont title = OVFont::sans(11, QFont::DemiBold), hint = OVFont::sans(8.5);
    const QFontMetrics tm(title), hm(hint);
    const int top = (height() - tm.height() - hm.height() - 2) / 2;
    p.setFont(title);
    p.setPen(m_actions.acts(m_value.id.value_or(QString())) ? pal.tx : pal.tx3);
    p.drawText(text.left(), top + tm.ascent(), QStringLiteral("Tune in"));
    p.setFont(hint);
    p.setPen(pal.tx2);
    p.drawText(text.left(), top + tm.height() + 2 + hm.ascent(), QStringLiteral("records screen & audio"));
}

void RecordBlock::paintRecording(QPainter& p, const QRect& text, const Rec::Recording& r) {
    const Pal& pal = palOf(this);
    const QFont rec = OVFont::mono(8, QFont::Bold), clock = OVFont::mono(10.5, QFont::Medium),
                counts = OVFont::mono(7.5, QFont::Medium);
    const QFontMetrics cm(clock), nm(counts);
    const int top = (height() - cm.height() - nm.height() - 2) / 2;
    const int baseline = top + cm.ascent();
    p.setPen(Qt::NoPen);
    p.setBrush(pal.red);
    p.drawEllipse(QPointF(text.left() + 3.5, baseline - cm.ascent() / 2.0 + 1), 3.5, 3.5);
    p.setFont(rec);
    p.setPen(pal.red);
    const QString label = QStringLiteral("REC");
    p.drawText(text.left() + 11, baseline, label);
    p.setFont(clock);
    p.setPen(pal.tx);
    p.drawText(text.left() + 11 + QFontMetrics(rec).horizontalAdvance(label) + 8, baseline,
               Fmt::clock(r.elapsed));
    p.setFont(counts);
    p.setPen(pal.tx2);
    p.drawText(text.left(), top + cm.height() + 2 + nm.ascent(),
               nm.elidedText(QStringLiteral("%1 SHOTS \u00B7 %2 PINS").arg(r.shots).arg(r.pins),
                             Qt::ElideRight, text.width()));
}
