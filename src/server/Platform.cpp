#include "server/Platform.h"

#include "core/Strings.h"

#include <QCryptographicHash>

namespace Platform {

QString clean(const QString& base) { return withoutTrailingSlashes(base); }

bool isLocal(const QString& base) { return Workspace::isLocalBase(base); }

QUuid projectID(const QString& base, const QString& slug) {
    const QByteArray name = QStringLiteral("orvane.project|%1|%2").arg(clean(base), slug).toUtf8();
    QByteArray bytes = QCryptographicHash::hash(name, QCryptographicHash::Sha256).left(16);
    bytes[6] = char((uchar(bytes[6]) & 0x0F) | 0x50);
    bytes[8] = char((uchar(bytes[8]) & 0x3F) | 0x80);
    return QUuid::fromRfc4122(bytes);
}

Workspace project(const QString& base, const QString& slug, const QString& name, const std::optional<QString>& seat,
                  bool appPaths) {
    const QString root = clean(base);
    const QString encoded = urlComponent(slug);
    const QString server = root + QStringLiteral("/app/p/") + encoded;
    const QString apiRoot = appPaths ? server + QStringLiteral("/api") : root + QStringLiteral("/api/v1/p/") + encoded;
    return {projectID(base, slug), name.isEmpty() ? slug : name, server, slug, seat, apiRoot};
}

std::optional<QUrl> resolve(const QString& text, const QString& base) {
    const QUrl asUrl(text, QUrl::StrictMode);
    if (asUrl.isValid() && !asUrl.scheme().isEmpty())
        return asUrl;
    const QString path = text.startsWith(QLatin1Char('/')) ? text : QLatin1Char('/') + text;
    const QUrl under(clean(base) + path, QUrl::StrictMode);
    if (!under.isValid())
        return std::nullopt;
    return under;
}

} // namespace Platform
