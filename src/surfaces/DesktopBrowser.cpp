#include "surfaces/DesktopBrowser.h"

#include "core/Log.h"

#include <QDesktopServices>

void DesktopBrowser::open(const QUrl& url) {
    if (qEnvironmentVariable("ORVANE_NO_BROWSER") == QLatin1String("1")) {
        slog(m_logPrefix + url.toString());
        return;
    }
    if (!QDesktopServices::openUrl(url))
        slog(QStringLiteral("open failed: ") + url.toString());
}
