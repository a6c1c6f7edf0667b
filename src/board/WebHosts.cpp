#include "board/WebHosts.h"

#include "server/Platform.h"

#include <array>

namespace WebHosts {

namespace {

const std::array<QLatin1String, 4> inertSchemes{QLatin1String("about"), QLatin1String("blob"),
                                                QLatin1String("data"), QLatin1String("javascript")};

} // namespace

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

bool isAuth(const QUrl& url) {
    const QString host = url.host().toLower();
    return !host.isEmpty() && url.scheme().toLower() == QLatin1String("https") &&
           host.endsWith(Platform::accessLoginDomain);
}

bool staysInWindow(const QUrl& url, const QString& base) {
    const QString scheme = url.scheme().toLower();
    for (const QLatin1String inert : inertSchemes)
        if (scheme == inert) return true;
    return isBoard(url, base) || isAuth(url);
}

bool isOrvaneCookie(const QString& domain, const QString& base) {
    QString name = domain.toLower();
    while (name.startsWith(QLatin1Char('.')))
        name.remove(0, 1);
    const QUrl root(Platform::clean(base));
    if (root.isValid() && !root.host().isEmpty() && root.host().toLower() == name) return true;
    const QString& platform = Platform::registrableDomain;
    return name == platform || name.endsWith(QLatin1Char('.') + platform) || name == Platform::accessTeamHost;
}

std::optional<QUrl> validAppSessionURL(const std::optional<QString>& raw, const QString& base) {
    if (!raw) return std::nullopt;
    const std::optional<QUrl> url = Platform::resolve(*raw, base);
    if (!url || !isBoard(*url, base)) return std::nullopt;
    // An https platform never hands its session to a page that travels in the clear.
    const QUrl root(Platform::clean(base));
    if (root.isValid() && root.scheme() == QLatin1String("https") && url->scheme() != QLatin1String("https"))
        return std::nullopt;
    return url;
}

} // namespace WebHosts
