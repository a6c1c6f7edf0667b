#include "RequiredServices.h"
#include "os/linux/AppIdentities.h"
#include "os/linux/PulseAudioSystem.h"
#include "os/linux/X11IdleSource.h"
#include "os/linux/X11WindowSystem.h"
#include "workday/CallApps.h"
#include "workday/CallDetector.h"
#include "workday/MicUsage.h"
#include "workday/Windows.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>

namespace {

// The stand-in program with its window and, on request, its microphone stream.
class Helper {
public:
    Helper(const QString& title, const QString& windowClass, bool record) {
        QStringList args{QStringLiteral("--title"), title, QStringLiteral("--class"), windowClass};
        if (record)
            args << QStringLiteral("--record");
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(ORVANE_CALL_HELPER), args);
    }
    ~Helper() {
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished();
    }
    // Waits for a line the helper prints, and gives it.
    QString waitFor(const QString& prefix) {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < 10000) {
            while (m_process.canReadLine()) {
                const QString line = QString::fromUtf8(m_process.readLine()).trimmed();
                if (line.startsWith(prefix))
                    return line;
            }
            m_process.waitForReadyRead(200);
        }
        return {};
    }
    QString windowId() { return waitFor(QStringLiteral("window ")).mid(7); }
    qint32 pid() const { return qint32(m_process.processId()); }
    void stopRecording() { m_process.write("stop\n"); }

private:
    QProcess m_process;
};

// Runs a tool of the test environment, its output discarded; true when it succeeded.
bool run(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

bool xdotool(const QStringList& args) { return run(QStringLiteral("xdotool"), args); }

} // namespace

// The real sources under Xvfb with openbox and a PulseAudio daemon (./scripts/with-test-services).
class TestDesktopSources : public QObject {
    Q_OBJECT
    os::AppIdentities m_identities;

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY"), "an X server");
        REQUIRE_SERVICE(run(QStringLiteral("pactl"), {QStringLiteral("info")}), "PulseAudio");
    }

    void aMeetInABrowserIsNoticedAndEndsWithItsRecording() {
        os::PulseAudioSystem audio(m_identities);
        os::X11WindowSystem windowSystem(m_identities);
        MicUsage mic(audio, qint32(QCoreApplication::applicationPid()), QStringLiteral("tst_desktop_sources"));
        Windows windows(windowSystem);
        CallDetector detector(mic, windows);
        QList<CallHit> starts;
        detector.onCallStart = [&starts](const CallHit& hit) { starts.append(hit); };
        QCOMPARE(mic.defaultInputDevice(), QStringLiteral("orvane_mic"));

        Helper helper(QStringLiteral("Meet - abc-defg-hij - Google Chrome"), QStringLiteral("google-chrome"), true);
        QVERIFY(!helper.windowId().isEmpty());
        QVERIFY(!helper.waitFor(QStringLiteral("recording")).isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT((detector.tick(), !starts.isEmpty()), 10000);
        const CallHit expected{QStringLiteral("Google Meet"), QStringLiteral("Meet - abc-defg-hij - Google Chrome")};
        QCOMPARE(starts.first(), expected);
        QCOMPARE(CallApps::recordingTitle(starts.first().app, starts.first().title), QStringLiteral("abc-defg-hij"));
        const std::optional<QList<MicUsage::Proc>> procs = mic.processesUsingInput();
        QVERIFY(procs && std::any_of(procs->cbegin(), procs->cend(),
                                     [&helper](const MicUsage::Proc& p) { return p.pid == helper.pid(); }));
        QCOMPARE(mic.othersUsingInput(), true);

        helper.stopRecording();
        QTRY_VERIFY_WITH_TIMEOUT((detector.tick(), !detector.micWasOn() && !detector.offered()), 10000);
        QCOMPARE(starts.size(), 1);
    }

    void switchingWindowsChangesTheFrontmostApp() {
        os::X11WindowSystem windowSystem(m_identities);
        Windows windows(windowSystem);
        Helper editor(QStringLiteral("notes.txt \u2014 Editor"), QStringLiteral("Gedit"), false);
        Helper sheet(QStringLiteral("budget.ods"), QStringLiteral("libreoffice-calc"), false);
        const QString editorWindow = editor.windowId();
        const QString sheetWindow = sheet.windowId();
        QVERIFY(!editorWindow.isEmpty() && !sheetWindow.isEmpty());

        QVERIFY(xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"), editorWindow}));
        QTRY_COMPARE_WITH_TIMEOUT(windows.frontmost().value_or(os::Window()).pid, editor.pid(), 5000);
        const os::Window front = *windows.frontmost();
        QCOMPARE(front.appId, QStringLiteral("gedit"));
        QCOMPARE(front.owner, QStringLiteral("Gedit"));
        QCOMPARE(windows.frontTitle(editor.pid()), QStringLiteral("notes.txt \u2014 Editor"));
        QCOMPARE(windows.list().first().pid, editor.pid());

        QVERIFY(xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"), sheetWindow}));
        QTRY_COMPARE_WITH_TIMEOUT(windows.frontmost().value_or(os::Window()).pid, sheet.pid(), 5000);
        QCOMPARE(windows.frontmost()->appId, QStringLiteral("libreoffice-calc"));
        QCOMPARE(windows.frontTitle(sheet.pid()), QStringLiteral("budget.ods"));
        QTRY_COMPARE_WITH_TIMEOUT(windows.list().first().pid, sheet.pid(), 5000);
    }

    void idleGrowsUntilAKeyIsPressed() {
        os::X11IdleSource idle;
        QTRY_VERIFY_WITH_TIMEOUT(idle.idleSeconds().value_or(0) >= 1.0, 10000);
        const double before = *idle.idleSeconds();
        QVERIFY(xdotool({QStringLiteral("key"), QStringLiteral("shift")}));
        QTRY_VERIFY_WITH_TIMEOUT(idle.idleSeconds().value_or(before) < before, 5000);
    }

    void withoutDaemonOrDisplayThereIsNoInformation() {
        const QByteArray server = qgetenv("PULSE_SERVER");
        qputenv("PULSE_SERVER", "unix:/nonexistent/orvane-no-pulse");
        os::PulseAudioSystem audio(m_identities);
        const std::optional<os::InputState> state = audio.inputState();
        qputenv("PULSE_SERVER", server);
        if (server.isEmpty())
            qunsetenv("PULSE_SERVER");
        QCOMPARE(state.has_value(), false);

        const QByteArray display = qgetenv("DISPLAY");
        qputenv("DISPLAY", ":9999");
        os::X11WindowSystem windowSystem(m_identities);
        const QList<os::Window> list = windowSystem.windows();
        const std::optional<os::Window> active = windowSystem.activeWindow();
        qputenv("DISPLAY", display);
        QVERIFY(list.isEmpty());
        QVERIFY(!active);
    }
};

QTEST_GUILESS_MAIN(TestDesktopSources)
#include "tst_desktop_sources.moc"
