#pragma once

#include <QColor>
#include <QPainter>
#include <QRasterWindow>

// A window of this process like a nudge: frameless, above the others, no taskbar entry, in one colour.
class Swatch : public QRasterWindow {
public:
    explicit Swatch(QColor colour) : m_colour(colour) {
        setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    }

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(QRect(QPoint(), size()), m_colour); }

private:
    QColor m_colour;
};
