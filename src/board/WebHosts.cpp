#include "board/WebHosts.h"

#include "server/Platform.h"

namespace WebHosts {

bool isBoard(const QUrl& url, const QString& base) {
    const QString scheme = url.scheme().toLower();
    const QString host = url.host().toLower();
    if (host.isEmpty() || (scheme != QLatin1String("https") && scheme != QLatin1String("http"))) return false;
    const QUrl root(Platform::clean(base));
    if (root.isValid() && !root.host().isEmpty() && root.host().toLower() == host) {
        const QString rootScheme =
            root.scheme().isEmpty() ? QStringLiteral("https") : root.scheme().toLower();
        return scheme == rootScheme;
    }
    // The public platform is the board whatever base is configured, but only over https.
    const QString& domain = Platform::registrableDomain;
    return scheme == QLatin1String("https") && (host == domain || host == QLatin1String("www.") + domain);
}

} // namespace WebHosts
