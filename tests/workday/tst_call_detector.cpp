#include "core/Fmt.h"
#include "fakes/FakeDesktop.h"
#include "workday/CallApps.h"
#include "workday/CallDetector.h"
#include "workday/MicUsage.h"
#include "workday/Windows.h"

#include <QTest>

namespace {

constexpr qint32 ownPid = 100;

os::Window window(qint32 pid, const QString& appId, const QString& title, const QString& owner = {}) {
    return {pid, owner.isEmpty() ? appId : owner, title, appId};
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
    bool m_usesMic = false;

    void recorders(const QList<os::InputClient>& clients) { m_audio.state = os::InputState{QStringLiteral("mic"), clients}; }
    void later(int seconds) { m_now = m_now.addSecs(seconds); }

private slots:
    void init() {
        m_audio = FakeAudioSystem();
        m_windowSystem = FakeWindowSystem();
        m_mic = std::make_unique<MicUsage>(m_audio, ownPid, QStringLiteral("app.orvane.Orvane"));
        m_windows = std::make_unique<Windows>(m_windowSystem);
        m_now = QDateTime(QDate(2026, 3, 4), QTime(10, 0), Qt::UTC);
        m_detector = std::make_unique<CallDetector>(*m_mic, *m_windows, [this] { return m_now; });
        m_starts.clear();
        m_ends = 0;
        m_recording = false;
        m_usesMic = false;
        m_detector->isRecording = [this] { return m_recording; };
        m_detector->recordingUsesMic = [this] { return m_usesMic; };
        m_detector->recordingFromCall = [] { return true; };
        m_detector->onCallStart = [this](const CallHit& hit) { m_starts.append(hit); };
        m_detector->onCallEnded = [this] { ++m_ends; };
    }

    void recordingTitle_data() {
        QTest::addColumn<QString>("app");
        QTest::addColumn<QString>("windowTitle");
        QTest::addColumn<QString>("expected"); // empty: the app's name and the time
        QTest::newRow("Meet in Chrome keeps the meeting code")
            << "Google Meet" << "Meet - abc-defg-hij - Google Chrome" << "abc-defg-hij";
        QTest::newRow("Meet with an en dash") << "Google Meet" << "Meet \u2013 xyz-abcd-efg" << "xyz-abcd-efg";
        QTest::newRow("Teams suffix goes") << "Teams" << "Weekly sync | Microsoft Teams" << "Weekly sync";
        QTest::newRow("Zoom's own window says nothing") << "Zoom" << "Zoom Meeting" << "";
        QTest::newRow("an app name alone says nothing") << "Slack" << "  slack " << "";
        QTest::newRow("two characters say nothing") << "Zoom" << "ab" << "";
        QTest::newRow("no title") << "Discord" << "" << "";
        QTest::newRow("200 characters keep 120") << "Zoom" << QString(200, QLatin1Char('x')) << QString(120, QLatin1Char('x'));
    }
    void recordingTitle() {
        QFETCH(QString, app);
        QFETCH(QString, windowTitle);
        QFETCH(QString, expected);
        const QDateTime now(QDate(2026, 3, 4), QTime(13, 5));
        const QString title = CallApps::recordingTitle(app, windowTitle, now);
        QCOMPARE(title, expected.isEmpty() ? app + QStringLiteral(" call \u00b7 ") + Fmt::human(now) : expected);
    }

    void webCall_data() {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("call"); // empty: none
        QTest::newRow("Meet by its host") << "meet.google.com/abc - Chromium" << "Google Meet";
        QTest::newRow("Meet by its prefix, hyphen") << "Meet - abc-defg-hij - Google Chrome" << "Google Meet";
        QTest::newRow("Meet by its prefix, en dash") << "Meet \u2013 xyz-abcd-efg" << "Google Meet";
        QTest::newRow("Google Meet by name") << "Standup - Google Meet" << "Google Meet";
        QTest::newRow("Zoom in a browser") << "Launch Meeting - Zoom - Mozilla Firefox" << "Zoom";
        QTest::newRow("Teams") << "Chat | Microsoft Teams" << "Teams";
        QTest::newRow("Whereby") << "Whereby - room" << "Whereby";
        QTest::newRow("Jitsi") << "Jitsi Meet" << "Jitsi";
        QTest::newRow("mail is no call") << "Inbox (3) - Gmail" << "";
        QTest::newRow("meeting notes are no call") << "Meeting notes - Docs" << "";
    }
    void webCall() {
        QFETCH(QString, title);
        QFETCH(QString, call);
        QCOMPARE(CallApps::webCall(title).value_or(QString()), call);
    }

    void linuxIdentitiesMatchTheirApps_data() {
        QTest::addColumn<QString>("appId");
        QTest::addColumn<QString>("native");
        QTest::addColumn<QString>("browser");
        QTest::newRow("Zoom's Flatpak") << "us.zoom.Zoom" << "Zoom" << "";
        QTest::newRow("Zoom's window class") << "zoom" << "Zoom" << "";
        QTest::newRow("Slack's Flatpak") << "com.slack.Slack" << "Slack" << "";
        QTest::newRow("Discord's Flatpak") << "com.discordapp.Discord" << "Discord" << "";
        QTest::newRow("Teams for Linux") << "teams-for-linux" << "Teams" << "";
        QTest::newRow("Chrome's desktop file") << "google-chrome" << "" << "Chrome";
        QTest::newRow("Chromium's Flatpak") << "org.chromium.Chromium" << "" << "Chromium";
        QTest::newRow("Firefox ESR") << "firefox-esr" << "" << "Firefox";
        QTest::newRow("Firefox's Flatpak") << "org.mozilla.firefox" << "" << "Firefox";
        QTest::newRow("Brave's executable") << "brave-browser" << "" << "Brave";
        QTest::newRow("an editor is neither") << "org.gnome.TextEditor" << "" << "";
    }
    void linuxIdentitiesMatchTheirApps() {
        QFETCH(QString, appId);
        QFETCH(QString, native);
        QFETCH(QString, browser);
        QCOMPARE(CallApps::nativeName(appId).value_or(QString()), native);
        QCOMPARE(CallApps::browserName(appId).value_or(QString()), browser);
    }

    void aBrowserCallIsOfferedOncePerMicrophoneSession() {
        m_windowSystem.list = {window(7, QStringLiteral("org.gnome.TextEditor"), QStringLiteral("notes")),
                               window(8, QStringLiteral("google-chrome"), QStringLiteral("Meet - abc-defg-hij - Google Chrome"))};
        recorders({{8, QStringLiteral("google-chrome")}});
        m_detector->tick();
        m_detector->tick();
        QCOMPARE(m_starts, (QList<CallHit>{{QStringLiteral("Google Meet"), QStringLiteral("Meet - abc-defg-hij - Google Chrome")}}));
        QVERIFY(m_detector->offered());
        recorders({});
        m_detector->tick();
        QVERIFY(!m_detector->offered());
        QVERIFY(!m_detector->micWasOn());
        recorders({{8, QStringLiteral("google-chrome")}});
        m_detector->tick();
        QCOMPARE(m_starts.size(), 2);
    }

    void aCallAppsHelperLeadsToItsMainWindow() {
        m_windowSystem.list = {window(30, QStringLiteral("us.zoom.Zoom"), QString()),
                               window(30, QStringLiteral("us.zoom.Zoom"), QStringLiteral("Zoom Meeting"))};
        recorders({{31, QStringLiteral("us.zoom.Zoom")}});
        QCOMPARE(m_detector->identify(), (CallHit{QStringLiteral("Zoom"), QStringLiteral("Zoom Meeting")}));
    }

    void aDictationToolAloneIsNoCall() {
        m_windowSystem.list = {window(9, QStringLiteral("org.gnome.TextEditor"), QStringLiteral("draft"))};
        m_windowSystem.active = m_windowSystem.list.first();
        recorders({{9, QStringLiteral("nerd-dictation")}});
        QCOMPARE(m_detector->identify(), std::nullopt);
        m_detector->tick();
        QVERIFY(m_starts.isEmpty());
        QVERIFY(m_detector->micWasOn());
    }

    void theFrontmostCallAppIsTheCall() {
        m_windowSystem.list = {window(40, QStringLiteral("com.discordapp.Discord"), QStringLiteral("#general"))};
        m_windowSystem.active = m_windowSystem.list.first();
        recorders({{41, QStringLiteral("pipewire-helper")}});
        QCOMPARE(m_detector->identify(), (CallHit{QStringLiteral("Discord"), QStringLiteral("#general")}));
    }

    void withoutAProcessListAnOpenCallAppIsTheGuess_data() {
        QTest::addColumn<QString>("appId");
        QTest::addColumn<bool>("hit");
        QTest::newRow("Zoom running") << "us.zoom.Zoom" << true;
        QTest::newRow("Slack running, open all day") << "com.slack.Slack" << false;
        QTest::newRow("Teams running, open all day") << "teams-for-linux" << false;
    }
    void withoutAProcessListAnOpenCallAppIsTheGuess() {
        QFETCH(QString, appId);
        QFETCH(bool, hit);
        m_windowSystem.list = {window(50, appId, QStringLiteral("Main"))};
        m_audio.state = std::nullopt;
        QCOMPARE(m_detector->identify().has_value(), hit);
    }

    void offersOnlyWhenEnabled() {
        m_windowSystem.list = {window(8, QStringLiteral("firefox"), QStringLiteral("Meet - abc - Mozilla Firefox"))};
        recorders({{8, QStringLiteral("firefox")}});
        m_detector->enabled = [] { return false; };
        m_detector->tick();
        QVERIFY(m_starts.isEmpty());
        QVERIFY(!m_detector->offered());
    }

    void suppressingTheCurrentSessionBringsNoOffer() {
        m_windowSystem.list = {window(8, QStringLiteral("firefox"), QStringLiteral("Meet - abc - Mozilla Firefox"))};
        recorders({{8, QStringLiteral("firefox")}});
        m_detector->suppressCurrent();
        QVERIFY(m_detector->micWasOn());
        m_detector->tick();
        QVERIFY(m_starts.isEmpty());
    }

    void theProgramsOwnMicrophoneIsNoCallGoingOn() {
        m_recording = true;
        m_usesMic = true;
        recorders({{ownPid, QStringLiteral("orvane")}});
        m_detector->tick();
        later(20);
        m_detector->tick();
        QCOMPARE(m_ends, 1);
        later(30);
        m_detector->tick();
        QCOMPARE(m_ends, 1); // once per quiet spell
    }

    void soundAfter19QuietSecondsStartsThe20Again() {
        m_recording = true;
        m_usesMic = true;
        recorders({{ownPid, QStringLiteral("orvane")}});
        m_detector->tick();
        later(19);
        m_detector->tick();
        recorders({{ownPid, QStringLiteral("orvane")}, {200, QStringLiteral("us.zoom.Zoom")}});
        m_detector->tick();
        QCOMPARE(m_detector->quietSince(), std::nullopt);
        recorders({{ownPid, QStringLiteral("orvane")}});
        later(1);
        m_detector->tick();
        later(19);
        m_detector->tick();
        QCOMPARE(m_ends, 0);
        later(1);
        m_detector->tick();
        QCOMPARE(m_ends, 1);
    }

    void anUnknownProcessListLeavesTheEndWatchAlone() {
        m_recording = true;
        m_usesMic = true;
        m_audio.state = std::nullopt;
        m_detector->tick();
        later(60);
        m_detector->tick();
        QCOMPARE(m_detector->quietSince(), std::nullopt);
        QCOMPARE(m_ends, 0);
    }

    void aPromptedCallPromptsNoMoreUntilTheNextRecording() {
        m_recording = true;
        recorders({});
        m_detector->tick();
        later(20);
        m_detector->tick();
        QCOMPARE(m_ends, 1);
        recorders({{200, QStringLiteral("us.zoom.Zoom")}});
        m_detector->tick();
        recorders({});
        later(3);
        m_detector->tick();
        later(20);
        m_detector->tick();
        QCOMPARE(m_ends, 1);
        QVERIFY(m_detector->endPrompted());
        m_detector->resetForRecording();
        QVERIFY(!m_detector->endPrompted());
        QCOMPARE(m_detector->quietSince(), std::nullopt);
        m_detector->tick();
        later(20);
        m_detector->tick();
        QCOMPARE(m_ends, 2);
    }
};

QTEST_GUILESS_MAIN(TestCallDetector)
#include "tst_call_detector.moc"
