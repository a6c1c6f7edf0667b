#pragma once

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QNetworkCookie>
#include <QString>

class QWebEngineCookieStore;

// What the board's web profile holds in cookies, kept in step with the engine's store so a decision about
// the web session needs no round trip. The engine reports cookies as they change but not those it loaded
// from disk (its load-all reports nothing in Qt 6.4), so the mirror starts from the profile's cookie file.
class CookieMirror {
public:
    // Reads the profile's cookie file, when there is one; a file it cannot read counts as empty (logged).
    void seed(const QString& cookieFile);
    // Follows the store from now on; `owner` bounds the connections.
    void follow(QWebEngineCookieStore& store, QObject* owner);

    // A platform sign-in (the web session or the access proxy's) that has not expired.
    bool hasSession(const QString& base, const QDateTime& now) const;
    // Every cookie of the platform's domains, whatever its name.
    QList<QNetworkCookie> platformCookies(const QString& base) const;

    void add(const QNetworkCookie& cookie);
    void remove(const QNetworkCookie& cookie);

private:
    static QString keyOf(const QNetworkCookie& cookie);
    QMap<QString, QNetworkCookie> m_cookies;
};
