#include "surfaces/DesktopBrowser.h"

#include "core/Log.h"

#include <QDesktopServices>

void DesktopBrowser::open(const QUrl& url) {
    if (m_mode == Mode::logOnly) {
        slog(m_logPrefix + url.toString());
        return;
    }
    if (!QDesktopServices::openUrl(url)) slog(QStringLiteral("open failed: ") + url.toString());
}
