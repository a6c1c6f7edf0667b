#include "server/API.h"

#include "core/Workspace.h"

API::API(const QString& server, QString key, const std::optional<QString>& apiRoot)
    : m_server(withoutTrailingSlashes(server)), m_key(std::move(key)) {
    if (apiRoot)
        m_apiRoot = withoutTrailingSlashes(*apiRoot);
}

QUrl API::url(const QString& path) const {
    if (m_apiRoot && path.startsWith(QLatin1String("/api/")))
        return QUrl(*m_apiRoot + path.mid(4), QUrl::StrictMode);
    return QUrl(m_server + path, QUrl::StrictMode);
}
