#include "surfaces/HUDCorner.h"

#include <QRegularExpression>
#include <algorithm>

namespace HUDCorner {
namespace {
constexpr int margin = 8;
}

std::optional<QPoint> parse(const QString& text) {
    static const QRegularExpression form(
        QStringLiteral(R"(^\s*\{\s*(-?\d+(?:\.\d+)?)\s*,\s*(-?\d+(?:\.\d+)?)\s*\}\s*$)"));
    const QRegularExpressionMatch m = form.match(text);
    if (!m.hasMatch()) return std::nullopt;
    return QPoint(qRound(m.captured(1).toDouble()), qRound(m.captured(2).toDouble()));
}

QString text(QPoint corner) {
    return QStringLiteral("{%1, %2}").arg(corner.x()).arg(corner.y());
}

QPoint wanted(std::optional<QPoint> stored, const QList<QRect>& screens, const QRect& primaryAvailable) {
    if (stored &&
        std::any_of(screens.begin(), screens.end(), [&](const QRect& s) { return s.contains(*stored); }))
        return *stored;
    return primaryAvailable.topRight() + QPoint(-margin, margin);
}
} // namespace HUDCorner
