#include "core/Fmt.h"
#include "fakes/FakeDesktop.h"
#include "support/Rows.h"
#include "workday/CallApps.h"
#include "workday/CallDetector.h"
#include "workday/MicUsage.h"
#include "workday/Windows.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;
using testsupport::row;
namespace {

constexpr qint32 ownPid = 100;
using WindowList = QList<os::Window>;
using Clients = std::optional<QList<os::InputClient>>; // nothing: the sound server can't say who records
using Hit = std::optional<CallHit>;
using Steps = QList<std::pair<int, Clients>>;

os::Window window(qint32 pid, const QString& appId, const QString& title) {
    return {pid, appId, title, appId};
}
Clients recording(qint32 pid, const QString& appId) {
    return QList<os::InputClient>{{pid, appId}};
}

} // namespace

// Call detection on fakes of the sound server and the window manager, with a settable clock.
class TestCallDetector : public QObject {
    Q_OBJECT

    FakeAudioSystem m_audio;
    FakeWindowSystem m_windowSystem;
    std::unique_ptr<MicUsage> m_mic;
    std::unique_ptr<Windows> m_windows;
    std::unique_ptr<CallDetector> m_detector;
    QDateTime m_now;
    QList<CallHit> m_starts;
    int m_ends = 0;
    bool m_recording = false;

    void recorders(const Clients& clients) {
        m_audio.state = clients ? std::optional(os::InputState{u"mic"_s, *clients}) : std::nullopt;
    }
    void later(int seconds) { m_now = m_now.addSecs(seconds); }

private slots:
    void init() {
        m_audio = FakeAudioSystem();
        m_windowSystem = FakeWindowSystem();
        m_mic = std::make_unique<MicUsage>(m_audio, ownPid, [] { return u"app.orvane.Orvane"_s; });
        m_windows = std::make_unique<Windows>(m_windowSystem);
        m_now = QDateTime(QDate(2026, 3, 4), QTime(10, 0), Qt::UTC);
        m_detector = std::make_unique<CallDetector>(*m_mic, *m_windows, [this] { return m_now; });
        m_starts.clear();
        m_ends = 0;
        m_recording = false;
        m_detector->isRecording = [this] { return m_recording; };
        m_detector->recordingUsesMic = [] { return true; };
        m_detector->recordingFromCall = [] { return true; };
        m_detector->onCallStart = [this](const CallHit& hit) { m_starts.append(hit); };
        m_detector->onCallEnded = [this] { ++m_ends; };
    }

    void recordingTitle_data() {
        QTest::addColumn<QString>("app");
        QTest::addColumn<QString>("windowTitle");
        QTest::addColumn<QString>("expected"); // empty: the app's name and the time
        row("Meet in Chrome keeps the meeting code", "Google Meet", "Meet - abc-defg-hij - Google Chrome",
            "abc-defg-hij");
        row("Teams suffix goes", "Teams", "Weekly sync | Microsoft Teams", "Weekly sync");
        row("Zoom's own window says nothing", "Zoom", "Zoom Meeting", "");
        row("an app name alone says nothing", "Slack", "  slack ", "");
    }
    void recordingTitle() {
        QFETCH(QString, app);
        QFETCH(QString, windowTitle);
        QFETCH(QString, expected);
        const QDateTime now(QDate(2026, 3, 4), QTime(13, 5));
        const QString title = CallApps::recordingTitle(app, windowTitle, now);
        QCOMPARE(title, expected.isEmpty() ? app + u" call \u00b7 "_s + Fmt::human(now) : expected);
    }

    void webCall_data() {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("call"); // empty: none
        row("Meet by its host", "meet.google.com/abc - Chromium", "Google Meet");
        row("Meet by its prefix, en dash", "Meet \u2013 xyz-abcd-efg", "Google Meet");
        row("Zoom in a browser", "Launch Meeting - Zoom - Mozilla Firefox", "Zoom");
        row("mail is no call", "Inbox (3) - Gmail", "");
    }
    void webCall() {
        QFETCH(QString, title);
        QFETCH(QString, call);
        QCOMPARE(CallApps::webCall(title).value_or(QString()), call);
    }

    void identify_data() {
        QTest::addColumn<WindowList>("windows"); // front to back; the first is the focused one
        QTest::addColumn<Clients>("clients");
        QTest::addColumn<Hit>("hit");
        const auto row = [](const char* name, const WindowList& windows, const Clients& clients,
                            const Hit& hit) { QTest::newRow(name) << windows << clients << hit; };
        const QString meet = u"Meet - abc-defg-hij - Google Chrome"_s;
        const os::Window editor = window(9, "org.gnome.TextEditor", "draft");
        row("a recording browser with a Meet window is that Meet", {editor, window(8, "google-chrome", meet)},
            recording(8, "google-chrome"), CallHit{"Google Meet", meet});
        row("a recording browser without a call window is the browser", {window(8, "firefox", "Inbox")},
            recording(8, "firefox"), CallHit{"Firefox", std::nullopt});
        row("a call app's helper process leads to its main window",
            {window(30, "us.zoom.Zoom", ""), window(30, "us.zoom.Zoom", "Zoom Meeting")},
            recording(31, "us.zoom.Zoom"), CallHit{"Zoom", "Zoom Meeting"});
        row("the frontmost call app is the call", {window(40, "com.discordapp.Discord", "#general")},
            recording(41, "pipewire-helper"), CallHit{"Discord", "#general"});
        row("a dictation tool alone is no call", {editor}, recording(9, "nerd-dictation"), std::nullopt);
        row("without a process list an open Zoom is the guess", {editor, window(50, "us.zoom.Zoom", "Main")},
            std::nullopt, CallHit{"Zoom", "Main"});
        row("without a process list an open Slack is no call, open all day",
            {editor, window(50, "com.slack.Slack", "Main")}, std::nullopt, std::nullopt);
        // Most Wayland desktops show no program the others' windows: who holds the microphone says it alone.
        row("without windows the recording call app is the call", {}, recording(31, "us.zoom.Zoom"),
            CallHit{"Zoom", std::nullopt});
        row("without windows a recording browser is the browser", {}, recording(8, "firefox"),
            CallHit{"Firefox", std::nullopt});
    }
    void identify() {
        QFETCH(WindowList, windows);
        QFETCH(Clients, clients);
        QFETCH(Hit, hit);
        m_windowSystem.list = windows;
        m_windowSystem.active = windows.isEmpty() ? std::nullopt : std::optional(windows.first());
        recorders(clients);
        QCOMPARE(m_detector->identify(), hit);
    }

    // A browser's Meet, through two microphone sessions: at most one offer for each.
    void offers_data() {
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("suppressFirst");
        QTest::addColumn<int>("offers");
        row("each microphone session is offered once", true, false, 2);
        row("nothing is offered while offers are off", false, false, 0);
        row("the session going on when a recording stopped is not offered, the next is", true, true, 1);
    }
    void offers() {
        QFETCH(bool, enabled);
        QFETCH(bool, suppressFirst);
        const QString meet = u"Meet - abc-defg-hij - Google Chrome"_s;
        m_windowSystem.list = {window(8, u"google-chrome"_s, meet)};
        m_detector->enabled = [enabled] { return enabled; };
        recorders(recording(8, u"google-chrome"_s));
        if (suppressFirst) m_detector->suppressCurrent();
        m_detector->tick();
        m_detector->tick();
        QVERIFY(m_detector->micWasOn());
        recorders(QList<os::InputClient>{});
        m_detector->tick();
        QVERIFY(!m_detector->offered() && !m_detector->micWasOn());
        recorders(recording(8, u"google-chrome"_s));
        m_detector->tick();
        QTEST(int(m_starts.size()), "offers");
        for (const CallHit& hit : std::as_const(m_starts))
            QCOMPARE(hit, (CallHit{u"Google Meet"_s, meet}));
    }

    void theEndOfACallFromTheMicrophone_data() {
        QTest::addColumn<Steps>("steps"); // each: seconds later (-1: a new recording), who records, a tick
        QTest::addColumn<int>("ends");
        const auto row = [](const char* name, const Steps& steps, int ends) {
            QTest::newRow(name) << steps << ends;
        };
        const Clients own = recording(ownPid, "app.orvane.Orvane");
        const Clients zoom = QList<os::InputClient>{{ownPid, "app.orvane.Orvane"}, {200, "us.zoom.Zoom"}};
        row("the program's own microphone is no call going on", {{0, own}, {20, own}}, 1);
        row("sound after 19 quiet seconds starts the 20 again",
            {{0, own}, {19, own}, {0, zoom}, {1, own}, {19, own}}, 0);
        row("20 quiet seconds after the sound end the call",
            {{0, own}, {19, own}, {0, zoom}, {1, own}, {20, own}}, 1);
        row("a prompted call prompts no more",
            {{0, own}, {20, own}, {0, zoom}, {3, own}, {20, own}, {30, own}}, 1);
        row("a new recording watches anew", {{0, own}, {20, own}, {-1, own}, {20, own}}, 2);
        row("an unknown process list leaves the end watch alone", {{0, std::nullopt}, {60, std::nullopt}}, 0);
    }
    void theEndOfACallFromTheMicrophone() {
        QFETCH(Steps, steps);
        QFETCH(int, ends);
        m_recording = true;
        for (const auto& [seconds, clients] : steps) {
            if (seconds < 0) m_detector->resetForRecording();
            later(std::max(seconds, 0));
            recorders(clients);
            m_detector->tick();
        }
        QCOMPARE(m_ends, ends);
    }
};

QTEST_GUILESS_MAIN(TestCallDetector)
#include "tst_call_detector.moc"
