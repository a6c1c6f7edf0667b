#include "app/AppDelegate.h"

#include "app/Services.h"
#include "app/SingleCopy.h"
#include "core/Log.h"
#include "surfaces/Nudges.h"
#include "surfaces/ScreenNudgeDisplay.h"
#include "surfaces/StatusIcon.h"
#include "surfaces/design/LiveMeter.h"

#include <QPixmap>
#include <QSystemTrayIcon>

AppDelegate::AppDelegate(Services& services, Arguments args)
    : m_services(services), m_args(std::move(args)),
      m_nudges(std::make_unique<Nudges>(std::make_unique<ScreenNudgeDisplay>())),
      m_liveMeter(std::make_unique<LiveMeter>()) {}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching() {
    m_statusItem = std::make_unique<QSystemTrayIcon>(QIcon(QPixmap::fromImage(StatusIcon::slash(64))));
    m_statusItem->setToolTip(QStringLiteral("Orvane"));
    if (QSystemTrayIcon::isSystemTrayAvailable())
        m_statusItem->show();
    else
        slog(QStringLiteral("no system tray on this desktop"));
    slog(launchLine());
}

QString AppDelegate::launchLine() const {
    const Settings& s = *m_services.settings;
    QString line = QStringLiteral("launched ") + SingleCopy::busName + QLatin1Char(' ');
    if (s.signedIn()) {
        QStringList slugs;
        for (const Workspace& p : s.projects())
            slugs.append(p.slug.value_or(p.name));
        return line + QStringLiteral("account=%1 projects=%2 base=%3")
                          .arg(s.accountEmail().value_or(QString()), slugs.join(QLatin1Char(',')), s.platformBase());
    }
    QStringList legacy;
    for (const Workspace& w : s.workspaces())
        legacy.append(w.name);
    return line + QStringLiteral("not signed in, legacy=") + legacy.join(QLatin1Char(','));
}
