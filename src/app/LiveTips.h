#pragma once

#include "core/Clock.h"
#include "core/Workspace.h"
#include "recording/Recorder.h"
#include "recording/Router.h"
#include "server/LiveTip.h"

#include <QCoroTask>
#include <QDateTime>
#include <QObject>
#include <memory>
#include <optional>

class Cards;
class HUD;
class Nudges;
class Pinning;
class Session;
class Settings;
class TuneIn;

// Hints from the project while a recording runs: the new text read off the screen goes to the project that
// the recording seems to belong to (or the home workspace), and a tip that comes back shows in the panel's
// feed and in a nudge that can make it a card. Opt-in through the live-tips setting; a tip never touches the
// recording. Main thread only.
class LiveTips : public QObject {
    Q_OBJECT
public:
    // The first request waits this long into a recording, and the next after an answer without a wish.
    static constexpr std::chrono::seconds firstWait{60};
    static constexpr std::chrono::seconds shortestWait{30};
    static constexpr std::chrono::seconds afterFailure{120};

    struct Needs {
        Settings& settings;
        Nudges& nudges;
        HUD& hud;
        TuneIn& tuneIn;
        Pinning& pinning;
        Cards& cards;
        Clock now;
    };
    explicit LiveTips(Needs needs, QObject* parent = nullptr);

    // Every second of a recording.
    void tick();
    void showTip(const LiveTip& tip);
    // A question is under way.
    bool busy() const { return m_state.busy; }

private:
    // One recording's state; a new recording starts afresh.
    struct State {
        std::shared_ptr<Session> recording;
        QDateTime nextAt;
        qsizetype sentOcr = 0;
        std::optional<Workspace> workspace;
        std::optional<Suggestion> suggestion;
        bool busy = false;
        bool off = false;
    };

    QCoro::Task<> ask(Recorder::LiveSnapshot snapshot, double t);
    // Until a project is suggested, each request scores the projects again.
    QCoro::Task<> findWorkspace(const Recorder::LiveSnapshot& snapshot);
    static QJsonObject body(const Recorder::LiveSnapshot& snapshot, double t);

    Needs m_needs;
    State m_state;
};
