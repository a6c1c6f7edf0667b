#pragma once

#include <QString>
#include <QUrl>
#include <optional>

// The HTTP client of one destination: a project, Personal or a legacy workspace.
class API {
public:
    API(const QString& server, QString key, const std::optional<QString>& apiRoot = std::nullopt);

    const QString& server() const { return m_server; }
    const QString& key() const { return m_key; }
    const std::optional<QString>& apiRoot() const { return m_apiRoot; }
    // Where calls go: the API root when there is one, else the server.
    const QString& endpoint() const { return m_apiRoot ? *m_apiRoot : m_server; }

    // With an API root, "/api/x" becomes apiRoot + "/x"; every other path is appended to the server.
    QUrl url(const QString& path) const;

    bool operator==(const API&) const = default;

private:
    QString m_server;
    QString m_key;
    std::optional<QString> m_apiRoot;
};
