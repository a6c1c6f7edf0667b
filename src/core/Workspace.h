#pragma once

#include "core/Json.h"

#include <QString>
#include <QUrl>
#include <QUuid>
#include <optional>

// One destination of recordings and API calls: a project of the platform or a legacy server.
struct Workspace {
    QUuid id;
    QString name;
    QString server;
    std::optional<QString> slug;
    std::optional<QString> seat;
    std::optional<QString> apiRoot;

    // A legacy workspace with a fresh id.
    static Workspace make(const QString& name, const QString& server);

    bool isProject() const { return slug.has_value(); }
    // `server` trimmed, without any trailing "/".
    QString base() const;
    bool isLocal() const { return isLocalBase(base()); }
    // base + "/#/" + path.
    std::optional<QUrl> link(const QString& path) const;

    // The host of the text is loopback: 127.0.0.1, localhost, ::1 or a name under .localhost.
    static bool isLocalBase(const QString& base);

    bool operator==(const Workspace&) const = default;

    QJsonValue toJson() const;
    static Workspace fromJson(const QJsonValue& v);
};

// Trims the text and removes every trailing "/".
QString withoutTrailingSlashes(const QString& text);
