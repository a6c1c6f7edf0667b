#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <optional>
#include <utility>

// How far the end-of-day summary has come, and what it says.
struct WrapStatus {
    QString status = QStringLiteral("none");
    std::optional<QString> summary;
    QList<QString> highlights;
    QList<QString> tomorrow;
    QList<std::pair<QString, QString>> cards; // id, title
    std::optional<QString> error;

    bool operator==(const WrapStatus&) const = default;

    static WrapStatus from(const QJsonObject& o);
};
