#include "RequiredServices.h"
#include "os/linux/MutterIdleSource.h"
#include "os/linux/WaylandIdleSource.h"
#include "support/Rows.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QProcess>
#include <QThread>
#include <QUuid>
#include <QtTest>

using namespace Qt::StringLiterals;
using testsupport::row;

// Stands in for GNOME's idle monitor: answers GetIdletime with `answer`, or never when it is invalid. It
// lives on a thread of its own, as the shell is another process: the source's call blocks the test's thread.
class FakeIdleMonitor : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.gnome.Mutter.IdleMonitor")
public:
    explicit FakeIdleMonitor(QVariant answer) : m_answer(std::move(answer)) {}

public slots:
    void GetIdletime() {
        setDelayedReply(true);
        if (m_answer.isValid()) connection().send(message().createReply(m_answer));
    }

private:
    QVariant m_answer;
};

// Idle time from the test environment's headless sway, which a virtual keyboard (wtype) wakes, and from a
// stand-in for GNOME's monitor on the test session bus.
class TestIdleSources : public QObject {
    Q_OBJECT

    static QString sway() { return qEnvironmentVariable("ORVANE_TEST_WAYLAND_DISPLAY"); }

    // One key pressed and released on sway's seat, as a person at the keyboard.
    static bool type() {
        QProcess wtype;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"WAYLAND_DISPLAY"_s, sway());
        wtype.setProcessEnvironment(env);
        wtype.start(u"wtype"_s, {u"x"_s});
        return wtype.waitForFinished(10000) && wtype.exitStatus() == QProcess::NormalExit &&
               wtype.exitCode() == 0;
    }

private slots:
    void swayTellsIdleTimeAndItsEnd() {
        REQUIRE_SERVICE(!sway().isEmpty(), "a Wayland compositor (ORVANE_TEST_WAYLAND_DISPLAY)");
        os::WaylandIdleSource idle(sway());
        QCOMPARE(idle.idleSeconds(), std::optional<double>(0.0));
        // Without input the compositor says the second has passed, and the time grows from there.
        QTRY_VERIFY_WITH_TIMEOUT(idle.idleSeconds().value_or(0) >= 2.5, 10000);
        const double before = *idle.idleSeconds();
        QTRY_VERIFY_WITH_TIMEOUT(idle.idleSeconds().value_or(0) > before, 5000);

        QElapsedTimer typed;
        QVERIFY(type());
        typed.start();
        // The key ends the stretch: no more than the time since, and the timeout's second, which may pass
        // before the test looks.
        QTRY_VERIFY_WITH_TIMEOUT(idle.idleSeconds().value_or(99) <= typed.elapsed() / 1000.0 + 0.1, 5000);
    }

    void noCompositorIsNothing_data() {
        QTest::addColumn<QString>("display");
        row("a socket name that nothing listens on", u"orvane-no-such-wayland"_s);
        row("an absolute path to no socket", u"/nonexistent/wayland-9"_s);
    }
    void noCompositorIsNothing() {
        QFETCH(QString, display);
        os::WaylandIdleSource idle(display);
        QCOMPARE(idle.idleSeconds(), std::nullopt);
        QCOMPARE(idle.idleSeconds(), std::nullopt);
    }

    void mutterMonitor_data() {
        QTest::addColumn<QVariant>("answer");
        QTest::addColumn<std::optional<double>>("idle");
        row("milliseconds as a uint64", QVariant::fromValue(qulonglong(4250)), std::optional(4.25));
        row("an answer of another type", QVariant(u"4250"_s), std::optional<double>());
        row("no answer within the timeout", QVariant(), std::optional<double>());
    }
    void mutterMonitor() {
        REQUIRE_SERVICE(QDBusConnection::sessionBus().isConnected(), "a D-Bus session bus");
        QFETCH(QVariant, answer);
        QFETCH(std::optional<double>, idle);
        const QString service = u"orvane.test.idle.m%1"_s.arg(QUuid::createUuid().toString(QUuid::Id128));
        QThread shell;
        shell.start();
        auto* monitor = new FakeIdleMonitor(answer);
        monitor->moveToThread(&shell);
        connect(&shell, &QThread::finished, monitor, &QObject::deleteLater);
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, service);
        QVERIFY(bus.registerObject(u"/org/gnome/Mutter/IdleMonitor/Core"_s, monitor,
                                   QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(service));

        os::MutterIdleSource source(QDBusConnection::sessionBus(), service);
        QElapsedTimer asked;
        asked.start();
        QCOMPARE(source.idleSeconds(), idle);
        QVERIFY(asked.elapsed() < os::MutterIdleSource::timeoutMs + 1000);

        QDBusConnection::disconnectFromBus(service);
        shell.quit();
        shell.wait();
    }

    void mutterWithoutTheShellIsNothing() {
        REQUIRE_SERVICE(QDBusConnection::sessionBus().isConnected(), "a D-Bus session bus");
        os::MutterIdleSource source(QDBusConnection::sessionBus(), u"orvane.test.idle.nobody"_s);
        QCOMPARE(source.idleSeconds(), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(TestIdleSources)
#include "tst_idle_sources.moc"
