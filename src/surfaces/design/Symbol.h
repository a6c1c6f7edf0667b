#pragma once

#include <QString>

class QColor;
class QPainter;
class QRectF;

// Small line drawings named as the menu names them ("gearshape", "chevron.right", ...), drawn as vectors so
// that they look the same on every machine, whatever icon theme or fonts it has. An unknown name draws
// nothing.
namespace Symbol {
void paint(QPainter& painter, const QString& name, const QRectF& box, const QColor& ink);
} // namespace Symbol
