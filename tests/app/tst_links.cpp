#include "support/Rows.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using testsupport::row;

// orvane:// links and later starts reach the one running copy, over the session bus or, without one, the
// socket. Every test has a bus and a runtime folder of its own, so its copies never meet another test's.
class TestLinks : public QObject {
    Q_OBJECT
    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<QProcess> m_bus;
    QString m_busAddress;

    QString path(const QString& name) const { return m_home->filePath(name); }
    QProcessEnvironment environment(bool bus) const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"ORVANE_SUPPORT_DIR"_s, path(u"support"_s));
        env.insert(u"XDG_CONFIG_HOME"_s, path(u"config"_s));
        env.insert(u"XDG_DATA_HOME"_s, path(u"data"_s));
        env.insert(u"XDG_RUNTIME_DIR"_s, path(u"run"_s));
        env.remove(u"DESKTOP_STARTUP_ID"_s);
        env.remove(u"XDG_ACTIVATION_TOKEN"_s);
        env.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, m_busAddress);
        // The board windows the links open stay off the shared display, away from the other tests' focus.
        env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        env.insert(u"ORVANE_NO_BROWSER"_s, u"1"_s);
        if (!bus) {
            // Without an X display the bus library can't start a bus of its own either.
            env.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
            env.remove(u"DISPLAY"_s);
        }
        return env;
    }
    std::unique_ptr<QProcess> start(const QStringList& args, const QProcessEnvironment& env,
                                    const QString& program = u"" ORVANE_BINARY ""_s) const {
        auto p = std::make_unique<QProcess>();
        p->setProcessEnvironment(env);
        p->start(program, args);
        return p;
    }
    QString log() const {
        QFile file(path(u"support/orvane.log"_s));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    bool waitForLog(const QString& text) const {
        return QTest::qWaitFor([&] { return log().contains(text); }, 30000);
    }
    // A process that ends by itself with status 0: a later start that handed over, or a tool.
    static void succeeds(QProcess& p) {
        QVERIFY(p.state() == QProcess::NotRunning || p.waitForFinished(30000));
        QVERIFY2(p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0,
                 (p.readAllStandardError() + p.readAllStandardOutput()).constData());
    }
    static void end(QProcess& copy) {
        QCOMPARE(copy.state(), QProcess::Running);
        copy.terminate();
        QVERIFY(copy.waitForFinished(20000));
        QCOMPARE(copy.exitCode(), 0);
    }

private slots:
    void init() {
        m_home = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir().mkpath(path(u"run"_s)));
        QFile::setPermissions(path(u"run"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        // A bus that starts no services: a Secret Service activated on it takes the bus's timeout to fail.
        QFile config(path(u"bus.conf"_s));
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write(
            u"<busconfig><type>session</type><listen>unix:tmpdir=%1</listen><auth>EXTERNAL</auth>"
            "<policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
            "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>"_s.arg(m_home->path())
                .toUtf8());
        config.close();
        m_bus = start({u"--config-file="_s + config.fileName(), u"--nofork"_s, u"--print-address=1"_s},
                      QProcessEnvironment::systemEnvironment(), u"dbus-daemon"_s);
        QVERIFY2(QTest::qWaitFor([&] { return m_bus->canReadLine(); }, 10000), "dbus-daemon");
        m_busAddress = QString::fromUtf8(m_bus->readLine().trimmed());
    }
    void cleanup() {
        m_bus->terminate();
        m_bus->waitForFinished(5000);
    }

    void laterStartsReachTheRunningCopy_data() {
        QTest::addColumn<bool>("bus");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QStringList>("desktopEnv");
        QTest::addColumn<QStringList>("lines");
        const QString garbage = u"orvane://p/%zz%E9%%/\u00e9\"' ?#&\\"_s.repeated(500).left(10000);
        const QString project = u"deep link orvane://p/brevik -> /app/p/brevik/#/board"_s;
        row("a link on the session bus, with the start's startup id", true,
            QStringList{u"orvane://p/brevik"_s}, QStringList{u"DESKTOP_STARTUP_ID=start_TIME42"_s},
            QStringList{project, u"board: window opened"_s, u"board: activation start_TIME42"_s});
        row("a link over the socket without a session bus, with the activation token", false,
            QStringList{u"orvane://p/brevik"_s}, QStringList{u"XDG_ACTIVATION_TOKEN=tok-1"_s},
            QStringList{project, u"board: activation tok-1"_s});
        row("links in any case of the scheme, in order, the activation token before the startup id", true,
            QStringList{u"ORVANE://p/a"_s, u"--unknown"_s, u"Orvane:board"_s, u"https://orvane.app"_s},
            QStringList{u"DESKTOP_STARTUP_ID=id-2"_s, u"XDG_ACTIVATION_TOKEN=tok-2"_s},
            QStringList{u"deep link orvane://p/a -> /app/p/a/#/board"_s, u"deep link orvane:board -> /app"_s,
                        u"board: activation tok-2"_s});
        row("a start without links reopens the copy on the session bus", true, QStringList{},
            QStringList{u"XDG_ACTIVATION_TOKEN=tok-3"_s},
            QStringList{u"board: window opened"_s, u"board: activation tok-3"_s});
        row("a start without links reopens the copy over the socket", false, QStringList{}, QStringList{},
            QStringList{u"board: window opened"_s});
        row("10,000 characters of garbage and bad escapes go over the socket as text", false,
            QStringList{garbage}, QStringList{},
            QStringList{u"deep link not understood: orvane://p/%25zz"_s});
    }
    void laterStartsReachTheRunningCopy() {
        QFETCH(bool, bus);
        QFETCH(QStringList, args);
        QFETCH(QStringList, desktopEnv);
        QFETCH(QStringList, lines);
        const auto copy = start({}, environment(bus));
        QVERIFY2(waitForLog(u"launched app.orvane.Orvane"_s), qPrintable(log()));
        QProcessEnvironment env = environment(bus);
        for (const QString& pair : desktopEnv)
            env.insert(pair.section(u'=', 0, 0), pair.section(u'=', 1));
        succeeds(*start(args, env));
        for (const QString& line : lines)
            QVERIFY2(waitForLog(line), qPrintable(log().right(2000)));
        end(*copy);
    }

    // Two starts at once, each with a link: one becomes the copy and gets both, its own once it listens.
    void twoStartsAtOnceLeaveOneCopy_data() {
        QTest::addColumn<bool>("bus");
        row("on the session bus", true);
        row("over the socket without a session bus", false);
    }
    void twoStartsAtOnceLeaveOneCopy() {
        QFETCH(bool, bus);
        const auto one = start({u"orvane://p/one"_s}, environment(bus));
        const auto two = start({u"orvane://p/two"_s}, environment(bus));
        QVERIFY(QTest::qWaitFor(
            [&] { return one->state() == QProcess::NotRunning || two->state() == QProcess::NotRunning; },
            30000));
        const bool oneStays = one->state() == QProcess::Running;
        succeeds(oneStays ? *two : *one);
        QVERIFY2(waitForLog(u"deep link orvane://p/one -> "_s) &&
                     waitForLog(u"deep link orvane://p/two -> "_s),
                 qPrintable(log()));
        QVERIFY(waitForLog(u"launched app.orvane.Orvane"_s));
        QCOMPARE(log().count(u"launched app.orvane.Orvane"_s), 1);
        end(oneStays ? *one : *two);
    }

    // The desktop's own opener, as a browser calls it, finds the entry that the run script registers and
    // starts the program, which hands the link to the copy; the entry names the window class the copy has.
    // The copy shows its board on the shared display, whose window manager every window test relies on.
    void xdgOpenReachesTheRunningCopy() {
        QProcessEnvironment env = environment(true);
        env.remove(u"QT_QPA_PLATFORM"_s);
        env.insert(u"XDG_CURRENT_DESKTOP"_s, u"X-Generic"_s);
        succeeds(*start({u"" ORVANE_BINARY ""_s}, env, u"" ORVANE_SCRIPTS "/register-desktop-entry"_s));
        const QString entry = path(u"data/applications/app.orvane.Orvane.desktop"_s);
        succeeds(*start({entry}, env, u"desktop-file-validate"_s));

        const auto copy = start({u"--preview"_s}, env);
        QVERIFY2(waitForLog(u"launched app.orvane.Orvane"_s), qPrintable(log()));
        succeeds(*start({u"orvane://board"_s}, env, u"xdg-open"_s));
        QVERIFY2(waitForLog(u"deep link orvane://board -> /app"_s), qPrintable(log()));
        // The board the link opened is what the window manager puts in front.
        const auto active = [&] {
            const auto xdotool = start({u"getactivewindow"_s, u"getwindowname"_s}, env, u"xdotool"_s);
            xdotool->waitForFinished(10000);
            return QString::fromUtf8(xdotool->readAll().trimmed());
        };
        QVERIFY(QTest::qWaitFor([&] { return active() == u"Orvane"_s; }, 30000));

        const auto xprop = start(
            {u"-c"_s, u"xprop -id $(xdotool search --sync --onlyvisible --pid %1 | head -1) WM_CLASS"_s.arg(
                          copy->processId())},
            env, u"sh"_s);
        QVERIFY(xprop->waitForFinished(30000));
        const QString windowClass =
            QString::fromUtf8(xprop->readAll()).section(u'"', 3, 3); // instance, class
        QFile file(entry);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY2(file.readAll().contains("\nStartupWMClass=" + windowClass.toUtf8() + '\n'),
                 qPrintable(windowClass));
        end(*copy);
    }
};

QTEST_GUILESS_MAIN(TestLinks)
#include "tst_links.moc"
