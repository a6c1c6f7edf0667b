#pragma once

#include "app/Arguments.h"
#include "core/Workspace.h"
#include "server/API.h"

#include <QCoroTask>
#include <functional>

#include <QDateTime>
#include <QObject>
#include <QTimer>
#include <memory>

class CallDetector;
class Coach;
class DesktopBrowser;
class MicUsage;
class Nudges;
class SignIn;
class QSessionManager;
class QSystemTrayIcon;
class WindowShortcuts;
class Windows;
class WorkdayTracker;
struct CallHit;
struct Services;

// The program's one controller: owns the long-lived objects, runs the start sequence and the timers, and gives the
// one answer to every way of quitting. Lives on the main thread; nothing else holds it.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    enum class TerminateReply { Now, Later };

    // How often the activity tick samples the user's activity.
    static constexpr int activitySeconds = 15;

    AppDelegate(Services& services, Arguments args);
    ~AppDelegate() override;

    void applicationDidFinishLaunching();

    // Every way to quit comes here: the menu, Ctrl+Q, SIGINT and SIGTERM, the desktop session ending.
    void requestQuit();
    // Quit now when nothing is being recorded or saved; otherwise after the save.
    TerminateReply applicationShouldTerminate();
    // The answer to a quit that had to wait.
    void replyToApplicationShouldTerminate(bool terminate);

    // The wrap-up of a recording marks its save, so that a quit waits for it.
    void beginSave();
    void endSave();
    bool saving() const { return m_saving; }

    // Fetches who the user is: the platform's account when signed in, else the name on the legacy home.
    // `then` runs afterwards, whatever the outcome.
    void refreshAccount(std::function<void()> then = {});
    // What follows a finished sign-in.
    void signedIn();
    // The menu's and nudges' way into the sign-in.
    void startSignIn();
    bool quitAfterSave() const { return m_quitAfterSave; }

private:
    QCoro::Task<> refreshPlatformAccount(QString base, QString key, std::function<void()> then);
    QCoro::Task<> refreshLegacyName(Workspace home, API api, std::function<void()> then);
    void makeStatusItem();
    void makeTimers();
    void startCallDetector();
    void callDetected(const CallHit& hit);
    void activityTick();
    void uploadWorkday();
    QCoro::Task<> uploadWorkday(API home);
    void showBreakNudge();
    void showWorkoutNudge();
    void recoverInterrupted();
    void runLaunchModes();
    void showPreviewNudge();
    void showSignInPhase();
    Coach& coach();
    void onSessionEnding(QSessionManager& manager);
    QString launchLine() const;

    Services& m_services;
    Arguments m_args;
    LaunchModes m_modes;
    std::unique_ptr<DesktopBrowser> m_signInBrowser;
    std::unique_ptr<SignIn> m_signIn;
    // The one nudge card, handed to the flows that speak through it.
    std::unique_ptr<Nudges> m_nudges;
    std::unique_ptr<QSystemTrayIcon> m_statusItem;
    std::unique_ptr<WindowShortcuts> m_shortcuts;
    std::unique_ptr<Coach> m_coach; // made on first use
    std::unique_ptr<Windows> m_windows;
    std::unique_ptr<MicUsage> m_mic;
    std::unique_ptr<CallDetector> m_detector;
    std::unique_ptr<WorkdayTracker> m_tracker;
    QDateTime m_lastWorkdayUpload = QDateTime::currentDateTimeUtc();
    QTimer m_activityTimer;
    bool m_saving = false;
    bool m_quitAfterSave = false;
};
