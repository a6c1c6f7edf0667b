#include "board/window/Board.h"

#include "server/Platform.h"

#include <QFileInfo>
#include <QStringList>

std::optional<QString> Board::pathAndQuery(const QUrl& url) {
    if (!url.isValid()) return std::nullopt;
    QString text = url.path(QUrl::FullyEncoded);
    if (text.isEmpty()) text = QStringLiteral("/");
    if (url.hasQuery()) text += QLatin1Char('?') + url.query(QUrl::FullyEncoded);
    return text;
}

bool Board::isHomePath(const QUrl& url) {
    const QString path = url.path(QUrl::FullyDecoded);
    return (path == QLatin1String("/app") || path == QLatin1String("/app/")) && !url.hasFragment();
}

std::optional<QColor> Board::parseCSSColor(const QString& text) {
    QString inner = text;
    inner.remove(QLatin1String("rgba(")).remove(QLatin1String("rgb(")).remove(QLatin1Char(')'));
    QList<double> numbers;
    for (const QString& piece : inner.split(QLatin1Char(','))) {
        bool ok = false;
        const double value = piece.trimmed().toDouble(&ok);
        if (ok) numbers << value;
    }
    if (numbers.size() < 3) return std::nullopt;
    // A transparent body says nothing about the page's colour.
    if (numbers.size() > 3 && numbers[3] <= 0.5) return std::nullopt;
    const auto channel = [](double v) { return std::clamp(v / 255.0, 0.0, 1.0); };
    return QColor::fromRgbF(float(channel(numbers[0])), float(channel(numbers[1])),
                            float(channel(numbers[2])));
}

double Board::luminance(const QColor& colour) {
    if (!colour.isValid()) return 0;
    const QColor rgb = colour.toRgb();
    return 0.2126 * rgb.redF() + 0.7152 * rgb.greenF() + 0.0722 * rgb.blueF();
}

QString Board::uniqueFile(const QString& dir, const QString& name, const QSet<QString>& taken) {
    const QString first = dir + QLatin1Char('/') + name;
    const auto free = [&](const QString& path) { return !QFileInfo::exists(path) && !taken.contains(path); };
    if (free(first)) return first;
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    const bool hasExtension = dot > 0;
    const QString stem = hasExtension ? name.left(dot) : name;
    const QString extension = hasExtension ? name.mid(dot) : QString();
    for (int n = 2;; ++n) {
        const QString candidate =
            dir + QLatin1Char('/') + stem + QLatin1Char(' ') + QString::number(n) + extension;
        if (free(candidate)) return candidate;
    }
}

QString Board::failurePage(const QString& base, const QString& description) {
    const QString host = QUrl(Platform::clean(base)).host();
    QString shown = description;
    shown.replace(QLatin1Char('<'), QLatin1String("&lt;"));
    return QStringLiteral(
               "<!doctype html><html><head><meta charset=\"utf-8\"><style>"
               "html,body{height:100%;margin:0}"
               "body{display:flex;align-items:center;justify-content:center;background:#07080b;color:#a3a8b0;"
               "font:14px system-ui,-apple-system,sans-serif;text-align:center}"
               "b{display:block;color:#f3f5f8;font-size:17px;margin-bottom:6px}"
               "kbd{font:12px ui-monospace,monospace;color:#c6ff3d}"
               "</style><title>Orvane</title></head><body><div><b>Can\u2019t reach %1</b>%2<br><br>Press "
               "<kbd>Ctrl+R</kbd> to try "
               "again.</div></body></html>")
        .arg(host.isEmpty() ? QStringLiteral("Orvane") : host, shown);
}
