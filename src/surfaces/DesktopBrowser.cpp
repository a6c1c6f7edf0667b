#include "surfaces/DesktopBrowser.h"

#include "core/Log.h"

#include <QDesktopServices>

bool DesktopBrowser::open(const QUrl& url) {
    if (m_mode == Mode::logOnly) {
        slog(m_logPrefix + url.toString());
        return false;
    }
    if (QDesktopServices::openUrl(url)) return true;
    slog(QStringLiteral("open failed, no browser took it: ") + url.toString());
    return false;
}
