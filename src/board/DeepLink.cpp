#include "board/DeepLink.h"

#include "board/WebHosts.h"
#include "core/Strings.h"
#include "server/Platform.h"

#include <QStringDecoder>
#include <QStringList>

namespace {

const QString scheme = QStringLiteral("orvane");

// A piece whose escapes make no UTF-8 text is kept as it was written.
QString decoded(const QString& piece) {
    const QByteArray bytes = QByteArray::fromPercentEncoding(piece.toUtf8());
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8(bytes);
    return utf8.hasError() ? piece : text;
}

QStringList partsOf(const QUrl& url) {
    QStringList parts;
    const QString host = url.host(QUrl::FullyDecoded);
    if (!host.isEmpty()) parts << host;
    const QString absolute = url.toString(QUrl::FullyEncoded);
    QString path;
    if (!host.isEmpty() || absolute.contains(QLatin1String("://")))
        path = url.path(QUrl::FullyEncoded);
    else
        path = absolute.mid(scheme.size() + 1).section(QLatin1Char('?'), 0, 0);
    for (const QString& piece : path.split(QLatin1Char('/'), Qt::SkipEmptyParts))
        parts << decoded(piece);
    QStringList kept;
    for (const QString& part : parts)
        if (const QString t = trimmed(part); !t.isEmpty()) kept << t;
    return kept;
}

} // namespace

std::optional<DeepLink> DeepLink::parse(const QUrl& url) {
    if (url.scheme().toLower() != scheme) return std::nullopt;
    const QStringList parts = partsOf(url);
    if (parts.isEmpty()) return std::nullopt;
    const QString first = parts[0].toLower();
    const qsizetype n = parts.size();
    if ((first == QLatin1String("board") || first == QLatin1String("app")) && n == 1) return board();
    if (first == QLatin1String("p")) {
        if (n == 2 || (n == 3 && parts[2].toLower() == QLatin1String("board"))) return project(parts[1]);
        if (n == 4 && parts[2].toLower() == QLatin1String("card")) return card(parts[1], parts[3]);
        return std::nullopt;
    }
    if ((first == QLatin1String("session") || first == QLatin1String("r")) && n == 2)
        return session(parts[1]);
    return std::nullopt;
}

std::optional<QUrl> DeepLink::webURL(const QString& base, const Known& known) const {
    const QString root = Platform::clean(base);
    QString page;
    switch (kind) {
    case Kind::board:
        page = root + QStringLiteral("/app");
        break;
    case Kind::project:
        page = root + QStringLiteral("/app/p/") + urlComponent(slug) + QStringLiteral("/#/board");
        break;
    case Kind::card:
        page = root + QStringLiteral("/app/p/") + urlComponent(slug) + QStringLiteral("/#/board?card=") +
               urlComponent(id);
        break;
    case Kind::session:
        if (known)
            if (std::optional<QUrl> page = known(id)) return page;
        page = root + QStringLiteral("/app/r/") + urlComponent(id);
        break;
    }
    const QUrl url(page, QUrl::StrictMode);
    if (!url.isValid()) return std::nullopt;
    return url;
}

std::optional<QUrl> DeepLink::from(const QUrl& web, const QString& base) {
    if (!WebHosts::isBoard(web, base)) return std::nullopt;
    const QString path = web.path(QUrl::FullyDecoded);
    if (path == QLatin1String("/app") || path == QLatin1String("/app/"))
        return QUrl(QStringLiteral("orvane://board"));
    static const QString recording = QStringLiteral("/app/r/");
    if (path.startsWith(recording))
        return QUrl(QStringLiteral("orvane://session/") + urlComponent(path.mid(recording.size())));
    return std::nullopt;
}
