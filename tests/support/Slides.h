#pragma once

#include <QFont>
#include <QImage>
#include <QPainter>
#include <QString>
#include <vector>

// Screens drawn for tests: lines of text in DejaVu Sans (installed by the setup script), top to bottom.
namespace Slides {

struct Line {
    QString text;
    int pixels = 32;
};

inline QFont font(int pixels) {
    QFont f(QStringLiteral("DejaVu Sans"));
    f.setPixelSize(pixels);
    return f;
}

// Lines stacked from the top left with a gap of half a line between them.
inline QImage draw(const std::vector<Line>& lines, QSize size = {1440, 900}, QColor ground = Qt::white,
                   QColor ink = Qt::black) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(ground);
    QPainter p(&image);
    p.setPen(ink);
    int y = 60;
    for (const Line& line : lines) {
        p.setFont(font(line.pixels));
        y += line.pixels;
        p.drawText(80, y, line.text);
        y += line.pixels / 2;
    }
    return image;
}

} // namespace Slides
