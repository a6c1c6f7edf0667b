#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <optional>

// A stretch of the work day with one app (and window title) in front.
struct WorkSpan {
    QDateTime start;
    QDateTime end;
    QString app; // the app's display name, or "(private)"
    std::optional<QString> title;

    bool operator==(const WorkSpan&) const = default;

    // The day file's form: whole-second ISO dates, no title key when there is none. Throws Json::DecodeError.
    QJsonObject toJson() const;
    static WorkSpan fromJson(const QJsonValue& value);
    // The form sent to the server: dates with milliseconds, an absent title as null.
    QJsonObject dict() const;
};
