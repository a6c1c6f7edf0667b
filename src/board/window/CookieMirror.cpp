#include "board/window/CookieMirror.h"

#include "board/WebHosts.h"
#include "core/Log.h"

#include <QFile>
#include <QWebEngineCookieStore>
#include <sqlite3.h>

namespace {

// The engine's cookie file counts expiry in microseconds since 1601-01-01 UTC; 0 is a session cookie.
QDateTime fromEngineTime(qint64 micros) {
    static const QDateTime epoch(QDate(1601, 1, 1), QTime(0, 0), Qt::UTC);
    return micros == 0 ? QDateTime() : epoch.addMSecs(micros / 1000);
}

QString column(sqlite3_stmt* row, int index) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, index));
    return text ? QString::fromUtf8(text) : QString();
}

} // namespace

void CookieMirror::seed(const QString& cookieFile) {
    if (!QFile::exists(cookieFile)) return;
    sqlite3* db = nullptr;
    const QByteArray path = cookieFile.toUtf8();
    sqlite3_stmt* row = nullptr;
    const char* query =
        "SELECT host_key, name, value, path, expires_utc, is_secure, is_httponly FROM cookies";
    if (sqlite3_open_v2(path.constData(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK ||
        sqlite3_prepare_v2(db, query, -1, &row, nullptr) != SQLITE_OK) {
        slog(QStringLiteral("board: cookie file unreadable (%1); starting without its cookies")
                 .arg(QString::fromUtf8(sqlite3_errmsg(db))));
        sqlite3_close(db);
        return;
    }
    while (sqlite3_step(row) == SQLITE_ROW) {
        QNetworkCookie cookie(column(row, 1).toUtf8(), column(row, 2).toUtf8());
        cookie.setDomain(column(row, 0));
        cookie.setPath(column(row, 3));
        cookie.setExpirationDate(fromEngineTime(sqlite3_column_int64(row, 4)));
        cookie.setSecure(sqlite3_column_int(row, 5) != 0);
        cookie.setHttpOnly(sqlite3_column_int(row, 6) != 0);
        add(cookie);
    }
    sqlite3_finalize(row);
    sqlite3_close(db);
}

void CookieMirror::follow(QWebEngineCookieStore& store, QObject* owner) {
    QObject::connect(&store, &QWebEngineCookieStore::cookieAdded, owner,
                     [this](const QNetworkCookie& cookie) { add(cookie); });
    QObject::connect(&store, &QWebEngineCookieStore::cookieRemoved, owner,
                     [this](const QNetworkCookie& cookie) { remove(cookie); });
}

bool CookieMirror::hasSession(const QString& base, const QDateTime& now) const {
    for (const QNetworkCookie& cookie : m_cookies) {
        if (cookie.name() != "ov_sess" && cookie.name() != "CF_Authorization") continue;
        if (!WebHosts::isOrvaneCookie(cookie.domain(), base)) continue;
        if (cookie.isSessionCookie() || cookie.expirationDate() > now) return true;
    }
    return false;
}

QList<QNetworkCookie> CookieMirror::platformCookies(const QString& base) const {
    QList<QNetworkCookie> kept;
    for (const QNetworkCookie& cookie : m_cookies)
        if (WebHosts::isOrvaneCookie(cookie.domain(), base)) kept << cookie;
    return kept;
}

void CookieMirror::add(const QNetworkCookie& cookie) {
    m_cookies.insert(keyOf(cookie), cookie);
}

void CookieMirror::remove(const QNetworkCookie& cookie) {
    m_cookies.remove(keyOf(cookie));
}

QString CookieMirror::keyOf(const QNetworkCookie& cookie) {
    return QString::fromUtf8(cookie.name()) + QLatin1Char('\n') + cookie.domain() + QLatin1Char('\n') +
           cookie.path();
}
