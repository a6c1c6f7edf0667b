#include "app/AppDelegate.h"

#include "app/Services.h"
#include "app/SingleCopy.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "recording/Recovery.h"
#include "server/SignIn.h"
#include "surfaces/DesktopBrowser.h"
#include "surfaces/Notify.h"
#include "surfaces/Nudges.h"
#include "surfaces/StatusIcon.h"
#include "surfaces/WindowShortcuts.h"
#include "workday/CallDetector.h"
#include "workday/Coach.h"
#include "workday/MicUsage.h"
#include "workday/Windows.h"
#include "workday/WorkdayTracker.h"

#include <QApplication>
#include <QPixmap>
#include <QPointer>
#include <QSessionManager>
#include <QSystemTrayIcon>

AppDelegate::AppDelegate(Services& services, Arguments args)
    : m_services(services), m_args(std::move(args)), m_modes(LaunchModes::read(m_args)),
      m_signInBrowser(std::make_unique<DesktopBrowser>(QStringLiteral("sign-in: would open "))),
      m_signIn(std::make_unique<SignIn>([browser = m_signInBrowser.get()](const QUrl& url) { browser->open(url); })),
      m_windows(std::make_unique<Windows>(*services.windows)),
      m_tracker(std::make_unique<WorkdayTracker>(*m_windows, *services.idle, Paths::workday())) {}

AppDelegate::~AppDelegate() = default;

// The order is a decision: recovery comes after every timer is set and before the first menu is built.
void AppDelegate::applicationDidFinishLaunching() {
    // Window keys in place of a main menu.
    m_shortcuts = std::make_unique<WindowShortcuts>([this] { requestQuit(); });
    qApp->installEventFilter(m_shortcuts.get());
    connect(qApp, &QGuiApplication::commitDataRequest, this, &AppDelegate::onSessionEnding);
    m_services.notify->setup({m_modes.dumpMenu, m_modes.uiCheck, qEnvironmentVariable("ORVANE_DEFAULTS_SUITE")});
    makeStatusItem();
    startCallDetector();
    makeTimers();
    const QPointer<AppDelegate> self(this);
    connect(m_signIn.get(), &SignIn::phaseChanged, this, &AppDelegate::showSignInPhase);
    m_signIn->onSignedIn = [self] {
        if (self)
            self->signedIn();
    };
    recoverInterrupted();
    rebuildMenu();
    // The account refresh is what first fills the projects; Personal is probed once it is known.
    refreshAccount([self] {
        if (self)
            self->retryPersonal(false);
    });
    slog(launchLine());
    runLaunchModes();
}

void AppDelegate::makeStatusItem() {
    if (m_modes.headless())
        return;
    m_statusItem = std::make_unique<QSystemTrayIcon>(QIcon(QPixmap::fromImage(StatusIcon::slash(64))));
    m_statusItem->setToolTip(QStringLiteral("Orvane"));
    if (QSystemTrayIcon::isSystemTrayAvailable())
        m_statusItem->show();
    else
        slog(QStringLiteral("no system tray on this desktop"));
}

void AppDelegate::makeTimers() {
    m_activityTimer.setInterval(WorkdayTracker::interval * 1000);
    connect(&m_activityTimer, &QTimer::timeout, this, &AppDelegate::activityTick);
    m_activityTimer.start();
    m_todoTimer.setInterval(todoSeconds * 1000);
    connect(&m_todoTimer, &QTimer::timeout, this, [this] { retryPersonal(false); });
    m_todoTimer.start();
}

void AppDelegate::rebuildMenu() {
    if (!m_statusItem)
        return;
    const QString state = UploadState::line(m_upload);
    m_statusItem->setToolTip(state.isEmpty() ? QStringLiteral("Orvane") : QStringLiteral("Orvane\n") + state);
}

Coach& AppDelegate::coach() {
    if (!m_coach)
        m_coach = std::make_unique<Coach>(*m_services.defaults);
    return *m_coach;
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

void AppDelegate::recoverInterrupted() { Recovery::recoverInterrupted(); }

void AppDelegate::runLaunchModes() {
    if (m_modes.preview)
        showPreviewNudge();
    if (m_modes.retryPending)
        retryUploads();
    if (m_modes.signIn)
        startSignIn();
}

void AppDelegate::showPreviewNudge() {
    using namespace std::chrono_literals;
    m_services.nudges->show({QStringLiteral("preview"),
                    0,
                    QStringLiteral("/"),
                    QStringLiteral("Time for a break \u2014 52 min straight"),
                    Coach::tips.first(),
                    {{QStringLiteral("In 10 min"), false, [] {}}, {QStringLiteral("Taking it"), true, [] {}}},
                    false,
                    60s,
                    {}});
}
