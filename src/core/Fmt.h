#pragma once

#include <QDateTime>
#include <QString>
#include <optional>

// The exact text forms of dates and durations.
namespace Fmt {
// "2026-03-04T13:05:09.250Z", UTC.
QString iso(const QDateTime& date);
// "2026-03-04T13:05:09Z", UTC.
QString isoPlain(const QDateTime& date);
// Internet date-time with fractional seconds, else without; nothing when neither reads it.
std::optional<QDateTime> parseISO(const QString& text);
// Only the form without fractional seconds: what files and settings store.
std::optional<QDateTime> parseISOPlain(const QString& text);
// "yyyy-MM-dd", local time.
QString day(const QDateTime& date);
// "yyyyMMdd-HHmmss", local time.
QString stamp(const QDateTime& date);
// "d MMM HH:mm", local time, month names in the user's language.
QString human(const QDateTime& date);
// "2 m", "1 h 30 m".
QString duration(double seconds);
// "0:59", "1:01:01".
QString clock(double seconds);
} // namespace Fmt
