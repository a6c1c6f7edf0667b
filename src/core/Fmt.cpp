#include "core/Fmt.h"

#include <QLocale>
#include <QRegularExpression>
#include <QTimeZone>

namespace Fmt {
namespace {
// Internet date-time: date, "T", time, an optional fraction, then "Z" or an offset.
const QRegularExpression& isoPattern() {
    static const QRegularExpression re(QStringLiteral(
        R"(^(\d{4})-(\d{2})-(\d{2})[Tt](\d{2}):(\d{2}):(\d{2})(\.\d+)?([Zz]|[+-]\d{2}:\d{2})$)"));
    return re;
}

enum class Fraction { Required, Forbidden };

std::optional<QDateTime> parse(const QString& text, Fraction fraction) {
    const QRegularExpressionMatch m = isoPattern().match(text);
    if (!m.hasMatch()) return std::nullopt;
    const QString frac = m.captured(7);
    if ((fraction == Fraction::Required) == frac.isEmpty()) return std::nullopt;
    const QDate date(m.captured(1).toInt(), m.captured(2).toInt(), m.captured(3).toInt());
    const int hour = m.captured(4).toInt(), minute = m.captured(5).toInt(), second = m.captured(6).toInt();
    // Milliseconds are the fraction's first three digits; further digits are cut, never rounded into the next
    // second.
    const int ms = frac.isEmpty() ? 0 : frac.mid(1, 3).leftJustified(3, QLatin1Char('0')).toInt();
    const QTime time(hour, minute, second, ms);
    if (!date.isValid() || !time.isValid()) return std::nullopt;
    int offset = 0;
    const QString zone = m.captured(8);
    if (zone.size() == 6) {
        offset = (zone.mid(1, 2).toInt() * 60 + zone.mid(4, 2).toInt()) * 60;
        if (zone.startsWith(QLatin1Char('-'))) offset = -offset;
    }
    return QDateTime(date, time, Qt::UTC).addSecs(-offset);
}
} // namespace

QString iso(const QDateTime& date) {
    return date.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzzZ"));
}

QString isoPlain(const QDateTime& date) {
    return date.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ssZ"));
}

std::optional<QDateTime> parseISO(const QString& text) {
    if (auto withFraction = parse(text, Fraction::Required)) return withFraction;
    return parse(text, Fraction::Forbidden);
}

std::optional<QDateTime> parseISOPlain(const QString& text) {
    return parse(text, Fraction::Forbidden);
}

QString day(const QDateTime& date) {
    return date.toLocalTime().toString(QStringLiteral("yyyy-MM-dd"));
}

QString stamp(const QDateTime& date) {
    return date.toLocalTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
}

QString human(const QDateTime& date) {
    return QLocale::system().toString(date.toLocalTime(), QStringLiteral("d MMM HH:mm"));
}

QString duration(double seconds) {
    const long long minutes = static_cast<long long>(seconds / 60.0);
    if (minutes < 60) return QStringLiteral("%1 m").arg(minutes);
    return QStringLiteral("%1 h %2 m").arg(minutes / 60).arg(minutes % 60);
}

QString clock(double seconds) {
    const long long s = seconds > 0 ? static_cast<long long>(seconds) : 0;
    if (s < 3600) return QString::asprintf("%lld:%02lld", s / 60, s % 60);
    return QString::asprintf("%lld:%02lld:%02lld", s / 3600, (s / 60) % 60, s % 60);
}
} // namespace Fmt
