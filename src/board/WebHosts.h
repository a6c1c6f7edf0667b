#pragma once

#include <QString>
#include <QUrl>

// Which URLs belong to the platform's board, judged against the configured platform base.
namespace WebHosts {
// The platform's own host on the base's scheme, or the bare platform domain and its www form on https.
bool isBoard(const QUrl& url, const QString& base);
} // namespace WebHosts
