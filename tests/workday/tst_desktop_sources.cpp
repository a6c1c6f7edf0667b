#include "RequiredServices.h"
#include "os/linux/AppIdentities.h"
#include "os/linux/PulseAudioSystem.h"
#include "os/linux/X11IdleSource.h"
#include "os/linux/X11WindowSystem.h"
#include "support/Program.h"
#include "support/Rows.h"
#include "workday/CallDetector.h"
#include "workday/MicUsage.h"
#include "workday/Windows.h"
#include "workday/WorkdayTracker.h"

#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using testsupport::row;

namespace {

using testsupport::Program;
using testsupport::run;

std::unique_ptr<Program> tkWindow(const QString& windowClass, const QString& title) {
    return testsupport::tkWindow(QStringLiteral(ORVANE_TESTS_DIR "/tk_window.py"), windowClass, title);
}

} // namespace

// The real sources under Xvfb with openbox and a PulseAudio daemon (./scripts/with-test-services), with
// windows of programs run by an interpreter, as much of a real desktop is.
class TestDesktopSources : public QObject {
    Q_OBJECT
    os::AppIdentities m_identities;

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY"), "an X server");
        REQUIRE_SERVICE(run(u"pactl"_s, {u"info"_s}), "PulseAudio");
    }

    void anInterpretedProgramsWindowIsItsOwnApp_data() {
        QTest::addColumn<QString>("runtime");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("appId");
        QTest::addColumn<QString>("app");
        // Debian's python3.11.desktop would name every Python program "Python (v3.11)".
        row("a Python Tk window with a class of its own", "python", "notes.txt \u2014 Tk", "orvane-notes",
            "Orvane-notes");
        row("a Java AWT window, named by its main class", "java", "notes.txt - AWT", "callwindow",
            "CallWindow");
    }
    void anInterpretedProgramsWindowIsItsOwnApp() {
        QFETCH(QString, runtime);
        QFETCH(QString, title);
        QFETCH(QString, appId);
        QFETCH(QString, app);
        const QTemporaryDir dir;
        std::unique_ptr<Program> program;
        if (runtime == QLatin1String("python")) {
            program = tkWindow(u"Orvane-notes"_s, title);
        } else {
            if (QStandardPaths::findExecutable(u"javac"_s).isEmpty())
                QSKIP("no Java compiler on this machine");
            QVERIFY(
                run(u"javac"_s, {u"-d"_s, dir.path(), QStringLiteral(ORVANE_TESTS_DIR "/CallWindow.java")}));
            program = std::make_unique<Program>(u"java"_s,
                                                QStringList{u"-cp"_s, dir.path(), u"CallWindow"_s, title});
        }
        QVERIFY(program->waitFor("window"));
        const std::optional<QByteArray> found =
            run(u"xdotool"_s, {"search", "--sync", "--onlyvisible", "--name", "^notes\\.txt"});
        QVERIFY(found);
        QVERIFY(run(u"xdotool"_s, {"windowactivate", "--sync", QString::fromUtf8(found->trimmed())}));

        os::X11WindowSystem windowSystem(m_identities);
        os::X11IdleSource idle;
        Windows windows(windowSystem);
        QTRY_COMPARE_WITH_TIMEOUT(windows.frontmost().value_or(os::Window()).pid, program->pid(), 10000);
        WorkdayTracker tracker(windows, idle, dir.path());
        tracker.sample(true);
        QCOMPARE(tracker.spans().size(), 1);
        QCOMPARE(tracker.spans().first().app, app);
        QCOMPARE(tracker.spans().first().title, title);
        QCOMPARE(windows.frontmost()->appId, appId);
    }

    void aMeetInAnInterpretedBrowserLikeWindowIsNoticedUntilTheMicrophoneStops() {
        os::PulseAudioSystem audio(m_identities);
        os::X11WindowSystem windowSystem(m_identities);
        MicUsage mic(audio, qint32(QCoreApplication::applicationPid()), u"tst_desktop_sources"_s);
        Windows windows(windowSystem);
        CallDetector detector(mic, windows);
        QList<CallHit> starts;
        detector.onCallStart = [&starts](const CallHit& hit) { starts.append(hit); };
        QCOMPARE(mic.defaultInputDevice(), u"orvane_mic"_s);

        const QString title = u"Meet - abc-defg-hij - Google Chrome"_s;
        const std::unique_ptr<Program> browser = tkWindow(u"google-chrome"_s, title);
        QVERIFY(browser->waitFor("window"));
        auto recorder = std::make_unique<Program>(u"parec"_s, QStringList{u"--raw"_s, u"/dev/null"_s});
        QTRY_VERIFY_WITH_TIMEOUT((detector.tick(), !starts.isEmpty()), 20000);
        QCOMPARE(starts.first(), (CallHit{u"Google Meet"_s, title}));
        const std::optional<QList<MicUsage::Proc>> procs = mic.processesUsingInput();
        QVERIFY(procs && std::any_of(procs->cbegin(), procs->cend(), [&recorder](const MicUsage::Proc& p) {
                    return p.pid == recorder->pid();
                }));
        QCOMPARE(mic.othersUsingInput(), true);

        recorder.reset();
        QTRY_VERIFY_WITH_TIMEOUT((detector.tick(), !detector.micWasOn() && !detector.offered()), 10000);
        QCOMPARE(starts.size(), 1);
    }

    void aSoundServerThatGoesAndComesBackIsLoggedOnceAndFoundAgain() {
        // A daemon of the test's own, so that the shared one stays up for the other tests.
        QTemporaryDir runtime;
        const QString socket = runtime.filePath(u"native"_s);
        const QStringList args{u"-n"_s, u"--daemonize=no"_s, u"--exit-idle-time=-1"_s,
                               u"--load=module-native-protocol-unix auth-anonymous=1 socket="_s + socket,
                               u"--load=module-null-sink"_s};
        const QByteArray server = qgetenv("PULSE_SERVER");
        qputenv("PULSE_SERVER", "unix:" + socket.toUtf8());
        os::PulseAudioSystem audio(m_identities);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"PULSE_RUNTIME_PATH"_s, runtime.path());
        environment.insert(u"PULSE_STATE_PATH"_s, runtime.path());
        environment.remove(u"DBUS_SESSION_BUS_ADDRESS"_s); // the shared daemon holds its bus name
        static int warnings = 0;
        const QtMessageHandler previous =
            qInstallMessageHandler([](QtMsgType type, const QMessageLogContext& context, const QString&) {
                if (type == QtWarningMsg && qstrcmp(context.category, "audio.users") == 0) ++warnings;
            });
        for (int life = 0; life < 2; ++life) {
            QProcess daemon;
            daemon.setProcessEnvironment(environment);
            daemon.start(u"pulseaudio"_s, args);
            QVERIFY(QTest::qWaitFor([&] { return audio.inputState().has_value(); }, 20000));
            const int before = warnings;
            daemon.kill();
            daemon.waitForFinished();
            QCOMPARE(audio.inputState(), std::nullopt);
            QCOMPARE(audio.inputState(), std::nullopt);
            QCOMPARE(warnings, before + 1);
        }
        qInstallMessageHandler(previous);
        qputenv("PULSE_SERVER", server);
        if (server.isEmpty()) qunsetenv("PULSE_SERVER");
    }

    void idleGrowsUntilAKeyIsPressed() {
        os::X11IdleSource idle;
        QTRY_VERIFY_WITH_TIMEOUT(idle.idleSeconds().value_or(0) >= 1.0, 10000);
        const double before = *idle.idleSeconds();
        QVERIFY(run(u"xdotool"_s, {u"key"_s, u"shift"_s}));
        QTRY_VERIFY_WITH_TIMEOUT(idle.idleSeconds().value_or(before) < before, 5000);
    }

    void withoutADisplayThereAreNoWindows() {
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
