#pragma once

#include "core/Json.h"

#include <QDateTime>
#include <QString>

// The memory of the last filed recording.
struct FiledRef {
    static inline const QString personal = QStringLiteral("personal");

    QString id;
    QString title;
    QString dest;
    QDateTime at;

    bool operator==(const FiledRef&) const = default;

    // `at` is stored as seconds since 2001-01-01 00:00:00 UTC, as the settings store keeps dates.
    QJsonValue toJson() const;
    static FiledRef fromJson(const QJsonValue& v);
};
