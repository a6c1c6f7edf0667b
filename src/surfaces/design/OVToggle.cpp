#include "surfaces/design/OVToggle.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVFont.h"

#include <QFontMetrics>
#include <QPainter>

namespace {
constexpr int trackWidth = 30;
constexpr int trackHeight = 18;
constexpr int gap = 10;
constexpr int ring = 3; // room for the focus ring round the track
} // namespace

OVToggle::OVToggle(const QString& text, QWidget* parent) : QAbstractButton(parent) {
    setText(text);
    setCheckable(true);
    setFont(OVFont::sans(10));
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize OVToggle::sizeHint() const {
    const QFontMetrics metrics(font());
    const int textWidth = text().isEmpty() ? 0 : gap + metrics.horizontalAdvance(text());
    return {2 * ring + trackWidth + textWidth, std::max(trackHeight + 2 * ring, metrics.height() + 4)};
}

void OVToggle::paintEvent(QPaintEvent*) {
    const Pal& pal = palOf(this);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled()) p.setOpacity(0.4);
    const QRectF track(ring + 0.5, (height() - trackHeight) / 2.0 + 0.5, trackWidth - 1, trackHeight - 1);
    const double radius = track.height() / 2;
    p.setPen(isChecked() ? Qt::NoPen : QPen(underMouse() ? pal.ln3 : pal.ln2, 1));
    p.setBrush(isChecked() ? pal.acFill : pal.bg3);
    p.drawRoundedRect(track, radius, radius);
    const double knob = track.height() - 4;
    const double knobX = isChecked() ? track.right() - 2 - knob : track.left() + 2;
    p.setPen(Qt::NoPen);
    p.setBrush(isChecked() ? pal.acInk : pal.tx2);
    p.drawEllipse(QRectF(knobX, track.top() + 2, knob, knob));
    if (hasFocus()) {
        QColor focus = pal.ac;
        focus.setAlphaF(0.75f);
        p.setPen(QPen(focus, 2));
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(track.adjusted(-2, -2, 2, 2), radius + 2, radius + 2);
    }
    if (text().isEmpty()) return;
    p.setPen(pal.tx);
    p.setFont(font());
    const QRectF words(track.right() + gap, 0, width() - track.right() - gap, height());
    p.drawText(words, Qt::AlignLeft | Qt::AlignVCenter, text());
}
