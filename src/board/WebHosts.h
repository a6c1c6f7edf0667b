#pragma once

#include <QString>
#include <QUrl>
#include <optional>

// Which addresses belong to the platform's own web board, judged against the configured platform base: what
// the board window shows itself, what goes to the browser, which cookies are the platform's, and which
// one-time login address may be trusted.
namespace WebHosts {
// The platform's own host on the base's scheme, or the bare platform domain and its www form on https.
bool isBoard(const QUrl& url, const QString& base);
// A sign-in page of the access proxy.
bool isAuth(const QUrl& url);
// Inert pages (about:, blob:, data:, javascript:), the board and the access proxy's sign-in stay in the
// window; everything else belongs to the browser.
bool staysInWindow(const QUrl& url, const QString& base);
// A cookie domain of the platform: the base's host, the platform domain and its subdomains, the access team.
bool isOrvaneCookie(const QString& domain, const QString& base);
// The one-time login address of an app-session answer, resolved on the base, when it is a board page on a
// scheme no weaker than the base's.
std::optional<QUrl> validAppSessionURL(const std::optional<QString>& raw, const QString& base);
} // namespace WebHosts
