#pragma once

#include "app/Account.h"
#include "app/Activity.h"
#include "app/Arguments.h"
#include "app/Cards.h"
#include "app/EndOfDay.h"
#include "app/Filing.h"
#include "app/FirstRun.h"
#include "app/LiveTips.h"
#include "app/Pinning.h"
#include "app/Reviews.h"
#include "app/Todos.h"
#include "app/TuneIn.h"
#include "app/UploadStatus.h"
#include "app/Uploads.h"
#include "app/VoiceCommands.h"
#include "surfaces/StatusItem.h"
#include "surfaces/menu/MenuBuilder.h"
#include "surfaces/menu/MenuInputs.h"
#include "surfaces/menu/MenuModel.h"
#include "voice/VoicePill.h"

#include <QObject>
#include <QTimer>
#include <memory>

class Board;
class Browser;
class CallDetector;
class HotKeys;
class LiveHearing;
class MicUsage;
class PinQueue;
class PopoverController;
class QSessionManager;
class WindowBox;
class WindowShortcuts;
class Windows;
class WorkdayTracker;
struct Services;

// The program's owner and wiring: builds the long-lived objects and the flows, connects them once, runs the
// start sequence and the timers, and gives the one answer to every way of quitting. Main thread only.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    enum class TerminateReply { Now, Later };

    // How often the to-dos are fetched and Personal is probed for recordings waiting on it.
    static constexpr std::chrono::seconds todoInterval{300};

    AppDelegate(Services& services, Arguments args);
    ~AppDelegate() override;

    void applicationDidFinishLaunching();

    // Every way to quit comes here: the menu, Ctrl+Q, SIGINT and SIGTERM, the desktop session ending.
    void requestQuit();
    // Quit now when nothing is being recorded or saved; otherwise after the save.
    TerminateReply applicationShouldTerminate();
    bool quitAfterSave() const { return m_quitAfterSave; }

    // Opens the settings window, or brings it to the user.
    void openSettings();
    // Ends the user's day: the end-of-day window on a new run.
    void wrapUp() { m_endOfDay.wrapUp(); }
    // Rebuilds what the tray panel shows of the state.
    void rebuildMenu();
    const MenuModel& menu() const { return m_menu; }
    // The tray panel, once the status item exists.
    PopoverController* popover() const { return m_popover.get(); }

    Filing& filing() { return m_filing; }
    Uploads& uploads() { return m_uploads; }
    Reviews& reviews() { return m_reviews; }
    Account& account() { return m_account; }
    Todos& todos() { return m_todos; }
    Cards& cards() { return m_cards; }
    Activity& activity() { return m_activity; }
    TuneIn& tuneIn() { return m_tuneIn; }
    Pinning& pinning() { return m_pinning; }
    EndOfDay& endOfDay() { return m_endOfDay; }
    VoiceCommands& voice() { return m_voice; }
    VoicePill& pill() { return m_pill; }
    LiveTips& tips() { return m_tips; }
    HotKeys& hotKeys() { return *m_hotKeys; }
    CallDetector& detector() { return *m_detector; }
    const UploadState::State& upload() const { return m_upload.state(); }
    WindowBox& windows() { return *m_windowBox; }
    Board& board() { return *m_board; }

public slots:
    // Links of another start, or of this one once launched, in the order given; the token lets the window
    // that shows them take the focus.
    void openLinks(const QStringList& links, const QString& token);
    // Another start without links: the user asks for Orvane again.
    void reopen(const QString& token);

signals:
    void menuRebuilt();

private:
    void wireFlows();
    void continueWithKeys();
    // Runs `run` now, or once the keychain has answered.
    void afterKeys(const std::function<void()>& run);
    void makeStatusItem();
    void showPanelWindow();
    // The tray icon and its tooltip follow the recording and the uploads.
    void updateStatusTitle();
    void registerHotKeys();
    void wireCallDetector();
    // A recording is saved: it goes its way, or the quit that waited for it goes on.
    void recordingSaved(std::shared_ptr<Session> session);
    void runLaunchModes();
    void dumpMenu();
    void runUiCheck();
    void runBoardCheck();
    void showPreviewNudge();
    void showWrapPreview();
    void onSessionEnding(QSessionManager& manager);
    QString launchLine() const;
    // What the tray panel is built from, read off the flows now.
    MenuInputs menuInputs() const;
    // Puts the rows and their actions in the panel's model.
    void bindMenu(const BuiltMenu& built);
    std::function<void()> menuAction(const MenuAction& action);

    Services& m_services;
    Arguments m_args;
    LaunchModes m_modes;
    std::unique_ptr<Windows> m_windows;
    std::unique_ptr<WorkdayTracker> m_tracker;
    std::unique_ptr<MicUsage> m_mic;
    std::unique_ptr<CallDetector> m_detector;
    std::unique_ptr<LiveHearing> m_hearing; // none without a speech engine
    UploadStatus m_upload;
    std::unique_ptr<Board> m_board;
    std::unique_ptr<Browser> m_boardPages;
    Browser& m_pages; // the board window, or the stand-in the services bring
    Filing m_filing;
    Uploads m_uploads;
    Reviews m_reviews;
    Account m_account;
    Todos m_todos;
    Cards m_cards;
    Activity m_activity;
    std::unique_ptr<StatusItem> m_statusItem;
    std::unique_ptr<WindowShortcuts> m_shortcuts;
    TuneIn m_tuneIn;
    // The settings window and the other small windows of their own.
    std::unique_ptr<WindowBox> m_windowBox;
    std::unique_ptr<PinQueue> m_pins;
    Pinning m_pinning;
    EndOfDay m_endOfDay;
    VoicePill m_pill;
    VoiceCommands m_voice;
    LiveTips m_tips;
    FirstRun m_firstRun;
    MenuModel m_menu;
    std::unique_ptr<HotKeys> m_hotKeys;
    std::unique_ptr<PopoverController> m_popover;
    QTimer m_todoTimer;
    bool m_quitAfterSave = false;
};
