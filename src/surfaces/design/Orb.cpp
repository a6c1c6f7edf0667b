#include "surfaces/design/Orb.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/LiveMeter.h"
#include "surfaces/design/OVFont.h"

#include <QHash>
#include <QPainter>
#include <QStaticText>
#include <algorithm>
#include <cmath>

namespace {
const QString ramp = QStringLiteral(" .\u00B7:-=+*#%@");
constexpr double flareSeconds = 0.6;
// A coarse grid of glyphs changes a few cells at a time: fifteen frames a second look as smooth as more.
constexpr int frameMs = 66;

int cellsAcross(double width) {
    return std::clamp(int(width / 5), 7, 27);
}

// The ramp's glyphs laid out once per font: laying text out is most of what drawing a glyph costs.
const std::vector<QStaticText>& glyphsIn(const QFont& font) {
    static QHash<int, std::vector<QStaticText>> bySize;
    std::vector<QStaticText>& glyphs = bySize[font.pixelSize()];
    if (glyphs.empty()) {
        for (QChar c : ramp) {
            QStaticText text{QString(c)};
            text.setTextFormat(Qt::PlainText);
            text.prepare(QTransform(), font);
            glyphs.push_back(text);
        }
    }
    return glyphs;
}

// The index into the ramp of each cell, row by row: the whole picture, so that a frame that would look the
// same as the last is not drawn.
QByteArray pictureOf(int cells, const OrbFrame& frame) {
    QByteArray picture(qsizetype(cells) * cells, 0);
    // The light comes from the upper left and swings a little as the sphere turns.
    const double lx = -0.45 + 0.25 * std::sin(frame.turn * 0.7), ly = -0.55, lz = 0.70;
    const double ln = std::sqrt(lx * lx + ly * ly + lz * lz);
    for (int row = 0; row < cells; ++row) {
        for (int col = 0; col < cells; ++col) {
            const double x = (col + 0.5) / cells * 2 - 1, y = (row + 0.5) / cells * 2 - 1;
            const double r2 = x * x + y * y;
            if (r2 > 1) continue;
            const double z = std::sqrt(1 - r2);
            const double lambert = std::max(0.0, (x * lx + y * ly + z * lz) / ln);
            // Bands of latitude and longitude that move with the turn give the surface its grain.
            const double longitude = std::atan2(x, z) + frame.turn;
            const double grain = 0.5 + 0.5 * std::sin(longitude * 4) * std::cos(y * 5);
            double b = (0.22 + 0.95 * lambert) * (0.7 + 0.3 * frame.level) * (0.75 + 0.25 * grain);
            b = std::clamp(b + frame.flare * 0.45 * z, 0.0, 1.0);
            picture[row * cells + col] = char(std::lround(b * (ramp.size() - 1)));
        }
    }
    return picture;
}
} // namespace

Orb::Orb(OrbValue value, Motion motion, const LiveMeter* meter, QWidget* parent)
    : ValueWidget(value, parent), m_motion(motion), m_meter(meter) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    m_tick.setInterval(frameMs);
    connect(&m_tick, &QTimer::timeout, this, &Orb::updateIfChanged);
    // While turning, the next frame takes the new level in; the meter's pace does not add frames.
    if (meter)
        connect(meter, &LiveMeter::changed, this, [this] {
            if (!m_tick.isActive()) updateIfChanged();
        });
    m_clock.start();
}

void Orb::setSnapshot(bool snapshot) {
    m_snapshot = snapshot;
    updateTicking();
    update();
}

bool Orb::animating() const {
    return value().live && !m_snapshot && !m_motion.reduced();
}

QSize Orb::sizeHint() const {
    return {value().size, value().size};
}

void Orb::showEvent(QShowEvent* event) {
    updateTicking();
    ValueWidget::showEvent(event);
}

void Orb::hideEvent(QHideEvent* event) {
    m_tick.stop();
    ValueWidget::hideEvent(event);
}

void Orb::updateIfChanged() {
    const double side = std::min(width(), height());
    QByteArray picture = pictureOf(cellsAcross(side), frame());
    if (picture == m_picture) return;
    m_picture = std::move(picture);
    update();
}

// Frames are only drawn while someone can see them.
void Orb::updateTicking() {
    if (animating() && isVisible())
        m_tick.start();
    else
        m_tick.stop();
}

OrbFrame Orb::frame() const {
    OrbFrame f;
    if (m_meter) f.level = m_meter->mic();
    if (!animating()) return f;
    f.turn = m_clock.elapsed() / 1000.0 * 0.9;
    if (m_meter && m_meter->pulseAt()) {
        const double age =
            std::chrono::duration<double>(LiveMeter::Clock::now() - *m_meter->pulseAt()).count();
        f.flare = std::clamp(1 - age / flareSeconds, 0.0, 1.0);
    }
    return f;
}

void Orb::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const double side = std::min(width(), height());
    paint(p, QRectF((width() - side) / 2, (height() - side) / 2, side, side),
          toneColor(value().tone, palOf(this)), frame());
}

void Orb::paint(QPainter& painter, const QRectF& box, const QColor& ink, const OrbFrame& frame) {
    const int cells = cellsAcross(box.width());
    const double cell = box.width() / cells;
    QFont font = OVFont::mono(7, QFont::Bold);
    font.setPixelSize(std::max(3, int(std::lround(cell * 1.45))));
    const std::vector<QStaticText>& glyphs = glyphsIn(font);
    const QByteArray picture = pictureOf(cells, frame);
    painter.setFont(font);
    for (int i = 0; i < picture.size(); ++i) {
        const int index = uchar(picture[i]);
        if (index == 0) continue;
        QColor glyph = ink;
        glyph.setAlphaF(float(0.45 + 0.55 * index / (ramp.size() - 1)));
        painter.setPen(glyph);
        const QStaticText& text = glyphs[std::size_t(index)];
        const int row = int(i) / cells, col = int(i) % cells;
        const QPointF centre(box.left() + (col + 0.5) * cell, box.top() + (row + 0.5) * cell);
        painter.drawStaticText(centre - QPointF(text.size().width(), text.size().height()) / 2, text);
    }
}
