#include "app/AppDelegate.h"

#include "app/BoardCheck.h"
#include "app/Services.h"
#include "app/SingleCopy.h"
#include "app/UiCheck.h"
#include "app/WrapSamples.h"
#include "board/window/Board.h"
#include "board/window/BoardPages.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/ScreenAccess.h"
#include "recording/Recovery.h"
#include "surfaces/HotKeys.h"
#include "surfaces/Notify.h"
#include "surfaces/Nudges.h"
#include "surfaces/SettingsView.h"
#include "surfaces/WindowBox.h"
#include "surfaces/WindowShortcuts.h"
#include "surfaces/WrapView.h"
#include "surfaces/popover/PanelKeys.h"
#include "surfaces/popover/PopoverController.h"
#include "surfaces/popover/PopoverView.h"
#include "voice/LiveHearing.h"
#include "voice/PinQueue.h"
#include "workday/CallDetector.h"
#include "workday/Coach.h"
#include "workday/MicUsage.h"
#include "workday/Windows.h"
#include "workday/WorkdayTracker.h"
#include "workday/WrapModel.h"

#include <QApplication>
#include <QPointer>
#include <QSessionManager>
#include <QWindow>
#include <cstdio>

namespace {

std::unique_ptr<MicUsage> makeMicUsage(const Services& services) {
    const qint32 ownPid = qint32(QCoreApplication::applicationPid());
    // Our own application id is worked out when the microphone is first asked about, not at launch.
    return std::make_unique<MicUsage>(
        *services.audio, ownPid,
        [identities = services.identities.get(), ownPid] { return identities->identify(ownPid, {}).id; });
}

} // namespace

AppDelegate::AppDelegate(Services& services, Arguments args)
    : m_services(services), m_args(std::move(args)), m_modes(LaunchModes::read(m_args)),
      m_windows(std::make_unique<Windows>(*services.windows)),
      m_tracker(std::make_unique<WorkdayTracker>(*m_windows, *services.idle, Paths::workday(), services.now)),
      m_mic(makeMicUsage(services)),
      m_detector(std::make_unique<CallDetector>(*m_mic, *m_windows, services.now)),
      m_hearing(services.speech ? std::make_unique<LiveHearing>(*services.speech, services.now) : nullptr),
      m_board(
          std::make_unique<Board>(Board::Inputs{*services.settings, *services.browser, *services.network,
                                                services.now, Paths::support() + QStringLiteral("/board")})),
      m_boardPages(std::make_unique<BoardPages>(*m_board)),
      m_pages(services.pages ? *services.pages : *m_boardPages),
      m_filing({*services.settings, *services.nudges, *services.notify, m_pages, m_upload, services.now,
                services.config.askSeconds}),
      m_uploads({*services.settings, *services.nudges, *services.notify, m_upload, m_filing, services.now}),
      m_reviews(
          {*services.nudges, *services.notify, m_pages, services.now, [this] { return m_tuneIn.busy(); }}),
      m_account({*services.settings, *services.nudges, *services.signInBrowser}),
      m_todos({*services.settings, *services.nudges, services.now}),
      m_cards({*services.settings, *services.nudges, services.now}),
      m_activity({*services.settings, *services.defaults, *services.nudges, *services.idle, *m_tracker,
                  services.now, [this] { return m_tuneIn.busy(); },
                  [this] { return m_detector->offered(); }}),
      m_tuneIn({*services.settings, *services.nudges, *services.prompter, *services.permission, *services.hud,
                *m_detector, *m_mic, *m_windows, services.capture,
                [&services] { return ScreenAccess::works(*services.screen); }, services.now,
                m_hearing.get()}),
      m_windowBox(std::make_unique<WindowBox>(services.bringForward)), m_pins(std::make_unique<PinQueue>()),
      m_pinning(
          {*services.nudges, *services.hud, m_tuneIn, *m_pins, services.selectRegion, services.askNote}),
      m_endOfDay({*services.settings, *m_tracker, *m_windowBox, m_pages, services.now, services.sleep}),
      m_pill(std::move(services.pillDisplay)),
      m_voice({*services.settings, *services.nudges, *services.hud, m_tuneIn, m_pinning, *m_pins,
               *services.voice, m_pill, services.grabScreen, services.now}),
      m_tips(
          {*services.settings, *services.nudges, *services.hud, m_tuneIn, m_pinning, m_cards, services.now}),
      // Without any status item (a desktop stood in for) there is no tray to miss.
      m_firstRun({*services.settings, *services.nudges, *m_windowBox,
                  [this] { return !m_statusItem || m_statusItem->hostAvailable(); },
                  [this] { m_account.startSignIn(); },
                  [&services] { return services.hotKeys->reach() == os::HotKeySource::Reach::commands; }}),
      m_menu(*services.defaults), m_hotKeys(std::make_unique<HotKeys>(*services.hotKeys)) {
    // A check runs beside the user's own copy: it must not touch that copy's web session.
    if (m_modes.boardCheck) m_board->useThrowawayProfile();
    wireFlows();
}

AppDelegate::~AppDelegate() = default;

// Flows never hold each other: what one needs of another arrives through these connections.
void AppDelegate::wireFlows() {
    connect(&m_filing, &Filing::decided, &m_uploads, &Uploads::uploadSession);
    connect(&m_filing, &Filing::questionsChanged, this, &AppDelegate::rebuildMenu);
    connect(&m_uploads, &Uploads::uploaded, &m_reviews, &Reviews::watchReview);
    connect(&m_uploads, &Uploads::signInWanted, &m_account, &Account::startSignIn);
    connect(&m_upload, &UploadStatus::changed, this, &AppDelegate::rebuildMenu);
    connect(&m_reviews, &Reviews::changed, this, &AppDelegate::rebuildMenu);
    connect(&m_account, &Account::changed, this, &AppDelegate::rebuildMenu);
    connect(&m_account, &Account::uploadsWanted, &m_uploads, &Uploads::retryUploads);
    connect(&m_account, &Account::settingsWanted, this, &AppDelegate::openSettings);
    connect(&m_account, &Account::todosWanted, &m_todos, &Todos::refreshTodos);
    connect(&m_account, &Account::accountSignedIn, m_board.get(), &Board::signedIn);
    connect(&m_account, &Account::accountSignedOut, m_board.get(), &Board::signedOut);
    connect(m_board.get(), &Board::settingsWanted, this, &AppDelegate::openSettings);
    connect(m_board.get(), &Board::quitWanted, this, &AppDelegate::requestQuit);
    connect(m_services.notify.get(), &Notify::pageWanted, m_board.get(),
            [this](const QUrl& page) { m_board->show(page); });
    connect(&m_todos, &Todos::changed, this, &AppDelegate::rebuildMenu);
    connect(&m_cards, &Cards::changed, this, &AppDelegate::rebuildMenu);
    connect(&m_cards, &Cards::suggestionTaken, &m_reviews, &Reviews::dropSuggestion);
    connect(&m_cards, &Cards::noteRecorded, &m_uploads,
            [this](std::shared_ptr<Session> note) { m_uploads.uploadPersonal(std::move(note), true); });
    connect(&m_cards, &Cards::signInWanted, &m_account, &Account::startSignIn);
    connect(&m_activity, &Activity::workdayUploaded, this, &AppDelegate::rebuildMenu);
    connect(&m_activity, &Activity::endDayWanted, &m_endOfDay, &EndOfDay::wrapUp);
    connect(&m_endOfDay, &EndOfDay::settingsWanted, this, &AppDelegate::openSettings);
    connect(&m_firstRun, &FirstRun::settingsWanted, this, &AppDelegate::openSettings);
    connect(&m_endOfDay, &EndOfDay::workdayUploaded, this, [this](const QDateTime& at) {
        m_activity.noteWorkdayUpload(at);
        rebuildMenu();
    });
    connect(&m_tuneIn, &TuneIn::changed, this, &AppDelegate::rebuildMenu);
    connect(&m_tuneIn, &TuneIn::saved, this, &AppDelegate::recordingSaved);
    connect(&m_services.hud->model(), &HUDModel::pinWanted, &m_pinning, &Pinning::addPin);
    connect(&m_services.hud->model(), &HUDModel::voiceWanted, &m_voice, &VoiceCommands::click);
    connect(&m_voice, &VoiceCommands::changed, this, &AppDelegate::rebuildMenu);
    connect(&m_tuneIn, &TuneIn::ticked, &m_tips, &LiveTips::tick);
    connect(&m_pinning, &Pinning::changed, this, &AppDelegate::rebuildMenu);
    connect(&m_tuneIn, &TuneIn::changed, m_services.meter.get(),
            [this] { m_services.meter->setActive(m_tuneIn.state() == TuneIn::State::recording); });
    wireCallDetector();
    m_services.nudges->setAvoid([hud = m_services.hud.get()] { return hud->frame(); });
    m_services.hud->onFrameChanged = [nudges = m_services.nudges.get()] { nudges->avoidMoved(); };
}

// The order is a decision: recovery comes after every timer is set and before the first menu is built.
void AppDelegate::applicationDidFinishLaunching() {
    // Window keys in place of a main menu.
    m_shortcuts = std::make_unique<WindowShortcuts>([this] { requestQuit(); });
    qApp->installEventFilter(m_shortcuts.get());
    connect(qApp, &QGuiApplication::commitDataRequest, this, &AppDelegate::onSessionEnding);
    m_services.notify->setup({m_modes.dumpMenu, m_modes.uiCheck});
    makeStatusItem();
    m_firstRun.launched(m_modes.plain());
    registerHotKeys();
    m_detector->start();
    m_activity.start();
    m_todoTimer.setInterval(todoInterval);
    connect(&m_todoTimer, &QTimer::timeout, this, [this] {
        m_todos.refreshTodos();
        m_uploads.retryPersonal(false);
    });
    m_todoTimer.start();
    Recovery::recoverInterrupted();
    rebuildMenu();
    if (m_modes.dumpMenu)
        QTimer::singleShot(std::chrono::milliseconds(qint64(m_modes.dumpMenuDelay * 1000)), this,
                           &AppDelegate::dumpMenu);
    // What needs the keys waits for them: a locked keyring answers once the user unlocks it, and the tray
    // works meanwhile.
    if (m_services.keychain->loading())
        connect(m_services.keychain.get(), &Keychain::settled, this, &AppDelegate::continueWithKeys,
                Qt::SingleShotConnection);
    else
        continueWithKeys();
}

// The account refresh is what first fills the projects; Personal is probed once it is known.
void AppDelegate::continueWithKeys() {
    const QPointer<AppDelegate> self(this);
    m_account.refreshAccount([self] {
        if (self) self->m_uploads.retryPersonal(false);
    });
    m_todos.refreshTodos();
    slog(launchLine());
    runLaunchModes();
}

void AppDelegate::makeStatusItem() {
    Services& s = m_services;
    if (m_modes.headless() || !s.makeStatusItem) return;
    m_statusItem = s.makeStatusItem();
    m_popover = std::make_unique<PopoverController>(PopoverController::Needs{m_menu, s.panelDesktop, s.motion,
                                                                             *s.presses, s.focusPanel,
                                                                             [this] {
                                                                                 rebuildMenu();
                                                                                 if (m_todos.stale())
                                                                                     m_todos.refreshTodos();
                                                                             },
                                                                             s.now});
    connect(m_statusItem.get(), &StatusItem::activated, m_popover.get(), &PopoverController::toggle);
    connect(&m_tuneIn, &TuneIn::ticked, this, &AppDelegate::updateStatusTitle);
    // Without a tray the panel is a window of its own from the start; closing it leaves Orvane running.
    if (!m_statusItem->hostAvailable() && !m_modes.uiCheck) showPanelWindow();
}

void AppDelegate::showPanelWindow() {
    QWidget* window =
        m_windowBox->show(QStringLiteral("panel"), QStringLiteral("Orvane"), new PopoverView(m_menu));
    window->windowHandle()->installEventFilter(new PanelKeys(
        m_menu, [window] { window->close(); }, window));
}

void AppDelegate::updateStatusTitle() {
    if (!m_statusItem) return;
    using Phase = StatusItem::Phase;
    const TuneIn::State state = m_tuneIn.state();
    const Phase phase = state == TuneIn::State::idle        ? Phase::idle
                        : state == TuneIn::State::recording ? Phase::recording
                                                            : Phase::busy;
    const Capture* capture = m_tuneIn.capture();
    m_statusItem->update({phase, capture ? capture->elapsed() : 0, UploadState::line(m_upload.state())});
}

// A key another program owns is logged and missed; the rest of the start goes on.
void AppDelegate::registerHotKeys() {
    m_hotKeys->registerAppKeys({.record = [this] { m_tuneIn.toggleRecording(); },
                                .pin = [this] { m_pinning.addPin(); },
                                .voiceDown = [this] { m_voice.voiceDown(); },
                                .voiceUp = [this] { m_voice.voiceUp(); }});
}

// Timers read their settings at each tick, so a change acts at the next one; the menu shows it at once.
void AppDelegate::openSettings() {
    Services& s = m_services;
    auto* view =
        new SettingsView({*s.settings, m_account.signIn(), m_pages, [this] { rebuildMenu(); },
                          [this] { m_account.signOut(); }, [this] { m_account.refreshAccount(); }},
                         {s.loginStart.get(), [this] { m_firstRun.showWelcome(); }, m_hotKeys->guide()});
    m_windowBox->show(SettingsView::windowKey, SettingsView::title, view);
}

void AppDelegate::rebuildMenu() {
    updateStatusTitle();
    bindMenu(MenuBuilder::build(menuInputs()));
    emit menuRebuilt();
}

QString AppDelegate::launchLine() const {
    const Settings& s = *m_services.settings;
    QString line = QStringLiteral("launched ") + SingleCopy::busName + QLatin1Char(' ');
    if (s.signedIn()) {
        QStringList slugs;
        for (const Workspace& p : s.projects())
            slugs.append(p.slug.value_or(p.name));
        return line +
               QStringLiteral("account=%1 projects=%2 base=%3")
                   .arg(s.accountEmail().value_or(QString()), slugs.join(QLatin1Char(',')), s.platformBase());
    }
    QStringList legacy;
    for (const Workspace& w : s.workspaces())
        legacy.append(w.name);
    return line + QStringLiteral("not signed in, legacy=") + legacy.join(QLatin1Char(','));
}

void AppDelegate::runLaunchModes() {
    if (m_modes.preview && m_modes.wrap) {
        showWrapPreview();
    } else if (m_modes.preview) {
        openSettings();
        showPreviewNudge();
    }
    if (m_modes.retryPending) m_uploads.retryUploads();
    if (m_modes.signIn) m_account.startSignIn();
    if (m_modes.uiCheck) QTimer::singleShot(std::chrono::seconds(1), this, &AppDelegate::runUiCheck);
    if (m_modes.boardCheck) runBoardCheck();
    if (const QString shot = m_services.config.boardShot; !shot.isEmpty() && !m_modes.boardCheck)
        connect(
            m_board.get(), &Board::pageFinished, this,
            [this, shot](const QUrl& url, bool ok) {
                if (ok && url.path().startsWith(QLatin1String("/app"))) m_board->writeShot(shot);
            },
            Qt::SingleShotConnection);
}

// The surfaces walked through their states on this display; the exit status says whether each got there.
void AppDelegate::runUiCheck() {
    const auto print = [](const QString& line) {
        std::fputs(qPrintable(line + QLatin1Char('\n')), stdout);
        std::fflush(stdout);
        slog(line);
    };
    if (!m_popover) {
        print(QStringLiteral("ui-check: no display to check on"));
        QCoreApplication::exit(1);
        return;
    }
    auto* check = new UiCheck({*m_popover, m_menu, *m_services.hud, *m_services.nudges, print}, this);
    connect(check, &UiCheck::finished, this, [](int failures) { QCoreApplication::exit(failures ? 1 : 0); });
    check->start();
}

void AppDelegate::runBoardCheck() {
    const auto print = [](const QString& line) {
        std::fputs(qPrintable(line + QLatin1Char('\n')), stdout);
        std::fflush(stdout);
        slog(line);
    };
    auto* check = new BoardCheck(*m_board, m_services.config.boardShot, print, this);
    connect(check, &BoardCheck::finished, this,
            [](int failures) { QCoreApplication::exit(failures ? 1 : 0); });
    check->start();
}

// A look at the menu after the start has run for a while, for scripts; then the ordinary way out.
void AppDelegate::dumpMenu() {
    rebuildMenu();
    const QString text = m_menu.state().dump();
    std::fputs(qPrintable(text + QLatin1Char('\n')), stdout);
    std::fflush(stdout);
    slog(QStringLiteral("menu dump:\n") + text);
    requestQuit();
}

void AppDelegate::showPreviewNudge() {
    using namespace std::chrono_literals;
    m_services.nudges->show(
        {.kind = QStringLiteral("preview"),
         .title = QStringLiteral("Time for a break \u2014 52 min straight"),
         .message = Coach::tips.first(),
         .buttons = {{QStringLiteral("In 10 min"), false, [] {}}, {QStringLiteral("Taking it"), true, [] {}}},
         .timeout = 60s});
}

// The end-of-day window on a finished sample day, with the home's board when there is one.
void AppDelegate::showWrapPreview() {
    const std::optional<Workspace> home = m_services.settings->home();
    auto model = std::make_shared<WrapModel>(home ? home->link(QStringLiteral("board")) : std::nullopt);
    model->setResult(WrapSamples::day());
    model->stop();
    WrapView::open(*m_windowBox, std::move(model), m_pages);
}

// The board signs in with the account key: a link that comes while a locked keyring still holds the key
// waits for it rather than land on the sign-in page.
void AppDelegate::openLinks(const QStringList& links, const QString& token) {
    afterKeys([this, links, token] {
        for (const QString& link : links)
            m_board->openDeepLink(QUrl(link), token);
    });
}

void AppDelegate::reopen(const QString& token) {
    afterKeys([this, token] { m_board->show(std::nullopt, token); });
}

void AppDelegate::afterKeys(const std::function<void()>& run) {
    if (m_services.keychain->loading())
        connect(m_services.keychain.get(), &Keychain::settled, this, run, Qt::SingleShotConnection);
    else
        run();
}

void AppDelegate::recordingSaved(std::shared_ptr<Session> session) {
    // A quit that waited for the save ends the program; the session is picked up at the next start.
    if (m_quitAfterSave) {
        QCoreApplication::quit();
        return;
    }
    m_filing.finish(std::move(session));
}
