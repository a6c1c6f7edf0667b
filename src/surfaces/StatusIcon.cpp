#include "surfaces/StatusIcon.h"

#include "surfaces/Brand.h"

#include <QBuffer>
#include <QPainter>
#include <QPainterPath>
#include <QSvgGenerator>
#include <algorithm>

namespace StatusIcon {
namespace {
// Points are given with the origin at the bottom left, as the mark is drawn upright.
QPointF at(double x, double y, double size) {
    return {x * size, (1.0 - y) * size};
}

void stroke(QPainter& p, const QColor& color, double width, QPointF from, QPointF to) {
    p.setPen(QPen(color, width, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(from, to);
}
} // namespace

// No tray says what colour it is, and the desktop's light or dark setting may not match the panel: the mark
// is ringed in the tone opposite its ink, so that it stands out on a panel of either tone.
QImage slash(int size, bool recording, bool dot, bool darkPanel) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QColor ink = recording ? Brand::lime() : (darkPanel ? QColor(Qt::white) : QColor(Qt::black));
    const QColor ring = ink.lightness() > 127 ? Brand::bg() : QColor(Qt::white);
    const double ringWidth = std::max(1.0, 0.05 * size);
    const QPointF from = at(0.34, 0.16, size), to = at(0.66, 0.84, size);
    stroke(p, ring, 0.15 * size + 2 * ringWidth, from, to);
    stroke(p, ink, 0.15 * size, from, to);
    if (dot) {
        const double d = 0.42 * size;
        const QRectF corner(size - d, 0, d, d);
        p.setCompositionMode(QPainter::CompositionMode_Clear);
        p.setPen(Qt::NoPen);
        p.setBrush(Qt::black);
        p.drawEllipse(corner);
        p.setCompositionMode(QPainter::CompositionMode_SourceOver);
        p.setBrush(ring);
        p.drawEllipse(corner);
        p.setBrush(Brand::red());
        p.drawEllipse(corner.adjusted(ringWidth, ringWidth, -ringWidth, -ringWidth));
    }
    return image;
}

namespace {
void paintAppIcon(QPainter& p, int pixels) {
    p.setRenderHint(QPainter::Antialiasing);
    const double margin = 0.09 * pixels;
    const QRectF square(margin, margin, pixels - 2 * margin, pixels - 2 * margin);
    const double radius = 0.22 * square.width();
    p.setPen(Qt::NoPen);
    p.setBrush(Brand::bg());
    p.drawRoundedRect(square, radius, radius);
    stroke(p, Brand::lime(), 0.11 * pixels, at(0.38, 0.24, pixels), at(0.62, 0.76, pixels));
}
} // namespace

std::optional<QByteArray> appIcon(int pixels) {
    if (pixels <= 0) return std::nullopt;
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter p(&image);
        paintAppIcon(p, pixels);
    }
    QByteArray png;
    QBuffer buffer(&png);
    if (!buffer.open(QIODevice::WriteOnly) || !image.save(&buffer, "PNG")) return std::nullopt;
    return png;
}

QByteArray appIconSvg() {
    constexpr int size = 128; // user units; the drawing scales
    QByteArray svg;
    QBuffer buffer(&svg);
    QSvgGenerator generator;
    generator.setOutputDevice(&buffer);
    generator.setSize({size, size});
    generator.setViewBox(QRect(0, 0, size, size));
    generator.setTitle(QStringLiteral("Orvane"));
    {
        QPainter p(&generator);
        paintAppIcon(p, size);
    }
    return svg;
}
} // namespace StatusIcon
