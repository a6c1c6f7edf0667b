#include "core/Strings.h"

#include <QChar>
#include <QList>
#include <QTextBoundaryFinder>
#include <QUrl>
#include <cmath>

QString trimmed(const QString& text) {
    return text.trimmed();
}

QString urlComponent(const QString& text) {
    static const QString unreserved = QStringLiteral("-._~");
    QString out;
    out.reserve(text.size());
    for (const char32_t cp : text.toUcs4()) {
        if (QChar::isLetterOrNumber(cp) || QChar::isMark(cp) ||
            (cp < 0x80 && unreserved.contains(QChar(cp)))) {
            out += QString::fromUcs4(&cp, 1);
            continue;
        }
        for (const char byte : QString::fromUcs4(&cp, 1).toUtf8())
            out += QStringLiteral("%%1").arg(uint(uchar(byte)), 2, 16, QLatin1Char('0')).toUpper();
    }
    return out;
}

double round1(double value) {
    return std::round(value * 10.0) / 10.0;
}

QString shortened(const QString& text, int limit) {
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, text);
    qsizetype kept = 0; // the end of the first limit - 1 characters
    int count = 0;
    while (graphemes.toNextBoundary() != -1) {
        if (++count == limit - 1) kept = graphemes.position();
        if (count > limit) return text.left(kept) + QStringLiteral("\u2026");
    }
    return text;
}

QString hostOf(const QString& address) {
    const QString host = QUrl(address).host();
    return host.isEmpty() ? address : host;
}
