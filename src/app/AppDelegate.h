#pragma once

#include "app/Arguments.h"
#include "app/UploadState.h"
#include "core/FiledRef.h"
#include "core/Workspace.h"
#include "recording/Router.h"
#include "server/API.h"

#include <QCoroTask>
#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QTimer>
#include <functional>
#include <memory>

class CallDetector;
class Coach;
class DesktopBrowser;
class MicUsage;
class Nudges;
class SignIn;
class QSessionManager;
class Session;
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

    // How often the to-dos are fetched and Personal is probed for recordings waiting on it.
    static constexpr int todoSeconds = 300;

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
    // Tells the user that a finished recording waits for a sign-in.
    void signInNudge(const Session& session);

    // One answer to "Where does this go?".
    struct Choice {
        bool personal = false;
        std::optional<Workspace> ws; // nothing for Personal
        QString label;
        bool suggested = false; // the primary button, first in the list
        bool operator==(const Choice&) const = default;
    };
    // An open suggestion of a review: each becomes a question of its own.
    struct OpenSuggestion {
        QString i;
        QString title;
        std::optional<QString> why;
        bool operator==(const OpenSuggestion&) const = default;
    };
    // One uploaded call waiting for its review.
    struct ReviewWatch {
        QString id;
        API api;
        std::optional<QUrl> link;
        std::optional<QString> dest;
        QString title;
        QDateTime until;
        bool ready = false;
        QList<OpenSuggestion> suggestions;
    };

    // The session's way after the recording: the question, the uploader or Personal. Also the road of the
    // sessions left from an earlier run.
    void finish(std::shared_ptr<Session> session);

    // The seconds the question waits before the default decision: ORVANE_ASK_SECONDS when it is a number.
    static double askSeconds();
    QList<Choice> whereChoices(const Session& session) const;
    void askWhere(std::shared_ptr<Session> session);
    // A late answer, for a session decided meanwhile, does nothing.
    void choose(const Session& session, const Choice& choice);
    void applyPersonal(std::shared_ptr<Session> session, const QString& why);
    void applyProject(std::shared_ptr<Session> session, const Workspace& ws, std::optional<RouteResult> result,
                      bool isAuto);
    // Offers to move the last filed recording elsewhere.
    void askMove();
    void move(FiledRef filed, QString to);

    void uploadSession(std::shared_ptr<Session> session);
    void uploadPersonal(std::shared_ptr<Session> session, bool quiet);
    // Finishes the oldest pending session nobody is working on, then the next, until one fails.
    void retryUploads();
    // Probes Personal with one waiting recording, at most every 30 minutes unless forced; the rest follow
    // once it is open.
    void retryPersonal(bool force);

    void watchReview(QString id, API api, std::optional<QUrl> link, std::optional<QString> dest, QString title);
    void pollReviews();
    void openReview(const QString& id);
    static QList<OpenSuggestion> openSuggestions(const QJsonValue& review);

    const UploadState::State& upload() const { return m_upload; }
    const QList<ReviewWatch>& reviews() const { return m_reviews; }
    // Redraws what the tray shows of the state.
    void rebuildMenu();

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
    QCoro::Task<> routeSession(std::shared_ptr<Session> session, QList<std::pair<Workspace, API>> connected);
    void scheduleDefaultDecision(const QString& dir);
    void settle(std::shared_ptr<Session> session);
    void decided();
    QCoro::Task<> sendMove(FiledRef filed, QString to, API api);
    QCoro::Task<> sendSession(std::shared_ptr<Session> session, std::optional<Workspace> ws, API api);
    QCoro::Task<> sendPersonal(std::shared_ptr<Session> session, API api, bool quiet);
    QCoro::Task<> continueRetries();
    QCoro::Task<> retryPersonalTask(QList<std::shared_ptr<Session>> waiting, bool quiet);
    QCoro::Task<> waitUntilNotUploading(QString dir);
    QCoro::Task<> pollReview(QString id, API api);
    std::function<void(const QString&)> progressToMenu();
    void setUpload(UploadState::State state);

    Services& m_services;
    Arguments m_args;
    LaunchModes m_modes;
    std::unique_ptr<DesktopBrowser> m_signInBrowser;
    std::unique_ptr<SignIn> m_signIn;
    std::unique_ptr<QSystemTrayIcon> m_statusItem;
    std::unique_ptr<WindowShortcuts> m_shortcuts;
    std::unique_ptr<Coach> m_coach; // made on first use
    std::unique_ptr<Windows> m_windows;
    std::unique_ptr<MicUsage> m_mic;
    std::unique_ptr<CallDetector> m_detector;
    std::unique_ptr<WorkdayTracker> m_tracker;
    QDateTime m_lastWorkdayUpload = QDateTime::currentDateTimeUtc();
    QTimer m_activityTimer;
    QTimer m_todoTimer;
    bool m_saving = false;
    bool m_quitAfterSave = false;

    // Per-session collections, keyed by the session's folder; none survives a restart.
    QSet<QString> m_routing; // scoring runs
    QHash<QString, QList<RouteResult>> m_routeScores; // asked, not decided
    QHash<QString, Suggestion> m_routeSuggest;
    QSet<QString> m_uploading; // one upload task per session at most
    UploadState::State m_upload = UploadState::Idle{};
    QDateTime m_lastPersonalTry; // null: never
    QList<ReviewWatch> m_reviews;
    std::unique_ptr<QTimer> m_reviewTimer; // runs while a watch isn't ready
};
