#include "surfaces/design/Symbol.h"

#include <QHash>
#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <functional>

namespace {

// Each drawing works in a 16 by 16 box; the painter is scaled to the box it is given.
using Drawing = std::function<void(QPainter&)>;

QPainterPath grid(double cell, double gap, int cols, int rows, double x0, double y0) {
    QPainterPath path;
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < cols; ++c)
            path.addRoundedRect(x0 + c * (cell + gap), y0 + r * (cell + gap), cell, cell, 1.2, 1.2);
    return path;
}

void chevron(QPainter& p, double turn) {
    p.translate(8, 8);
    p.rotate(turn);
    p.drawPolyline(QPolygonF{{-2, -4.5}, {2.5, 0}, {-2, 4.5}});
}

const QHash<QString, Drawing>& drawings() {
    static const QHash<QString, Drawing> all = {
        {QStringLiteral("pin"),
         [](QPainter& p) {
             p.drawEllipse(QPointF(8, 5.5), 3.5, 3.5);
             p.drawLine(QPointF(8, 9), QPointF(8, 15));
         }},
        {QStringLiteral("waveform"),
         [](QPainter& p) {
             const double heights[] = {3, 7, 11, 6, 9, 4};
             for (int i = 0; i < 6; ++i) {
                 const double x = 2.5 + i * 2.2;
                 p.drawLine(QPointF(x, 8 - heights[i] / 2), QPointF(x, 8 + heights[i] / 2));
             }
         }},
        {QStringLiteral("arrow.up.right.square"),
         [](QPainter& p) {
             p.drawRoundedRect(QRectF(2, 2, 12, 12), 2.5, 2.5);
             p.drawLine(QPointF(6, 10), QPointF(10.5, 5.5));
             p.drawPolyline(QPolygonF{{6.5, 5.5}, {10.5, 5.5}, {10.5, 9.5}});
         }},
        {QStringLiteral("chevron.right"), [](QPainter& p) { chevron(p, 0); }},
        {QStringLiteral("chevron.left"), [](QPainter& p) { chevron(p, 180); }},
        {QStringLiteral("arrow.clockwise"),
         [](QPainter& p) {
             p.drawArc(QRectF(3, 3, 10, 10), 100 * 16, 290 * 16);
             p.drawPolyline(QPolygonF{{9.5, 1.5}, {12, 3.8}, {9.3, 5.8}});
         }},
        {QStringLiteral("chevron.down"), [](QPainter& p) { chevron(p, 90); }},
        {QStringLiteral("clock"),
         [](QPainter& p) {
             p.drawEllipse(QPointF(8, 8), 6, 6);
             p.drawPolyline(QPolygonF{{8, 4.5}, {8, 8}, {10.5, 9.5}});
         }},
        {QStringLiteral("square.grid.2x2"), [](QPainter& p) { p.drawPath(grid(5, 2, 2, 2, 2, 2)); }},
        {QStringLiteral("rectangle.grid.2x2"),
         [](QPainter& p) {
             p.drawRoundedRect(QRectF(1.5, 3, 13, 10), 2, 2);
             p.drawLine(QPointF(8, 3), QPointF(8, 13));
             p.drawLine(QPointF(1.5, 8), QPointF(14.5, 8));
         }},
        {QStringLiteral("arrow.right"),
         [](QPainter& p) {
             p.drawLine(QPointF(2.5, 8), QPointF(13, 8));
             p.drawPolyline(QPolygonF{{9, 4}, {13, 8}, {9, 12}});
         }},
        {QStringLiteral("plus"),
         [](QPainter& p) {
             p.drawLine(QPointF(8, 3), QPointF(8, 13));
             p.drawLine(QPointF(3, 8), QPointF(13, 8));
         }},
        {QStringLiteral("sun.haze"),
         [](QPainter& p) {
             p.drawArc(QRectF(4, 4, 8, 8), 0, 180 * 16);
             for (const double a : {0.0, 45.0, 90.0, 135.0, 180.0}) {
                 const double r = a * M_PI / 180;
                 p.drawLine(QPointF(8 + 5.5 * std::cos(r), 8 - 5.5 * std::sin(r)),
                            QPointF(8 + 7.5 * std::cos(r), 8 - 7.5 * std::sin(r)));
             }
             p.drawLine(QPointF(2, 10.5), QPointF(14, 10.5));
             p.drawLine(QPointF(4, 13.5), QPointF(12, 13.5));
         }},
        {QStringLiteral("book"),
         [](QPainter& p) {
             p.drawPolyline(QPolygonF{{8, 4}, {5, 3}, {1.5, 3.5}, {1.5, 13}, {5, 12.5}, {8, 13.5}});
             p.drawPolyline(QPolygonF{{8, 4}, {11, 3}, {14.5, 3.5}, {14.5, 13}, {11, 12.5}, {8, 13.5}});
             p.drawLine(QPointF(8, 4), QPointF(8, 13.5));
         }},
        {QStringLiteral("gearshape"),
         [](QPainter& p) {
             for (int i = 0; i < 8; ++i) {
                 const double r = i * M_PI / 4;
                 p.drawLine(QPointF(8 + 4.5 * std::cos(r), 8 + 4.5 * std::sin(r)),
                            QPointF(8 + 6.5 * std::cos(r), 8 + 6.5 * std::sin(r)));
             }
             p.drawEllipse(QPointF(8, 8), 4.5, 4.5);
             p.drawEllipse(QPointF(8, 8), 1.8, 1.8);
         }},
        {QStringLiteral("power"),
         [](QPainter& p) {
             p.drawArc(QRectF(2.5, 3, 11, 11), 125 * 16, 290 * 16);
             p.drawLine(QPointF(8, 1.5), QPointF(8, 7.5));
         }},
    };
    return all;
}

} // namespace

namespace Symbol {

void paint(QPainter& painter, const QString& name, const QRectF& box, const QColor& ink) {
    const auto drawing = drawings().constFind(name);
    if (drawing == drawings().cend()) return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const double side = std::min(box.width(), box.height());
    painter.translate(box.center() - QPointF(side, side) / 2);
    painter.scale(side / 16, side / 16);
    // A line of about 1.3 pixels whatever the size.
    painter.setPen(QPen(ink, 1.3 * 16 / side, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    (*drawing)(painter);
    painter.restore();
}

} // namespace Symbol
