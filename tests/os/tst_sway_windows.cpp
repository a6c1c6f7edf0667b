#include "RequiredServices.h"
#include "os/linux/SwayWindowSystem.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QtTest>
#include <memory>

using namespace Qt::StringLiterals;

// The windows of real Wayland programs (the foot terminal) on the test environment's headless sway, as its
// IPC socket tells them.
class TestSwayWindows : public QObject {
    Q_OBJECT

    // sway names its socket after its user and pid, beside the compositor's own.
    static QString swaySocket() {
        const QString display = qEnvironmentVariable("ORVANE_TEST_WAYLAND_DISPLAY");
        if (display.isEmpty()) return {};
        const QDir folder = QFileInfo(display).dir();
        const QStringList sockets = folder.entryList({u"sway-ipc.*.sock"_s}, QDir::System);
        return sockets.isEmpty() ? QString() : folder.filePath(sockets.first());
    }
    static std::unique_ptr<QProcess> terminal(const QString& title) {
        auto foot = std::make_unique<QProcess>();
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"WAYLAND_DISPLAY"_s, qEnvironmentVariable("ORVANE_TEST_WAYLAND_DISPLAY"));
        foot->setProcessEnvironment(env);
        foot->start(u"foot"_s, {u"--title"_s, title, u"sleep"_s, u"120"_s});
        return foot;
    }
    static qint32 pidOf(const std::optional<os::Window>& window) { return window ? window->pid : 0; }

private slots:
    void theFocusedWindowAndTheOthersBehindIt() {
        const QString socket = swaySocket();
        REQUIRE_SERVICE(!socket.isEmpty(), "sway (ORVANE_TEST_WAYLAND_DISPLAY)");
        os::AppIdentities identities;
        os::SwayWindowSystem windows(identities, socket);
        QVERIFY(windows.knowsFrontmost());

        const std::unique_ptr<QProcess> first = terminal(u"first"_s);
        QVERIFY2(first->waitForStarted(), qPrintable(first->errorString()));
        QTRY_COMPARE_WITH_TIMEOUT(pidOf(windows.activeWindow()), qint32(first->processId()), 10000);
        QCOMPARE(windows.activeWindow(),
                 (os::Window{qint32(first->processId()), u"Foot"_s, u"first"_s, u"foot"_s}));

        // A new window takes the focus; the one before is next in the list.
        const std::unique_ptr<QProcess> second = terminal(u"second"_s);
        QVERIFY(second->waitForStarted());
        QTRY_COMPARE_WITH_TIMEOUT(pidOf(windows.activeWindow()), qint32(second->processId()), 10000);
        QList<qint32> order;
        for (const os::Window& w : windows.windows())
            order << w.pid;
        QCOMPARE(order, (QList<qint32>{qint32(second->processId()), qint32(first->processId())}));

        second->terminate();
        QTRY_COMPARE_WITH_TIMEOUT(pidOf(windows.activeWindow()), qint32(first->processId()), 10000);
        // An empty workspace has the focus: no window is in front.
        first->terminate();
        QTRY_COMPARE_WITH_TIMEOUT(pidOf(windows.activeWindow()), 0, 10000);
        QVERIFY(windows.activeWindow() == std::nullopt);
        QVERIFY(windows.windows().isEmpty());
    }

    void noSocketIsNothing() {
        os::AppIdentities identities;
        os::SwayWindowSystem windows(identities, u"/nonexistent/sway-ipc.sock"_s);
        QCOMPARE(windows.activeWindow(), std::nullopt);
        QVERIFY(windows.windows().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestSwayWindows)
#include "tst_sway_windows.moc"
