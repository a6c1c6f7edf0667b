#include "RequiredServices.h"
#include "os/linux/CommandKeys.h"
#include "support/Rows.h"
#include "surfaces/HotKeys.h"
#include "surfaces/SettingsWindowFixture.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QLineEdit>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;
using testsupport::row;

namespace {

// Runs a line as the desktop runs a shortcut's command, serving this process's bus and clipboard meanwhile.
struct Shell {
    QProcess process;
    bool run(const QString& program, const QStringList& args) {
        process.start(program, args);
        return QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 30000) &&
               process.exitStatus() == QProcess::NormalExit;
    }
    QString out() { return QString::fromUtf8(process.readAllStandardOutput()); }
};

} // namespace

// The keys on a desktop that gives programs none: the settings window shows each key's command, "Copy" puts
// it on the X clipboard, and the command as a shell runs it reaches the keys' handlers over the session bus.
class TestCommandKeys : public QObject {
    Q_OBJECT
    // The running copy's name on the bus, one of this test's own.
    const QString m_busName = u"app.orvane.test.p%1.Orvane"_s.arg(QCoreApplication::applicationPid());

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(QGuiApplication::platformName() == QLatin1String("xcb"), "an X server");
        QVERIFY2(QDBusConnection::sessionBus().isConnected(), "no session bus");
        QVERIFY(QDBusConnection::sessionBus().registerService(m_busName));
    }

    void theCopiedCommandActsAsTheKey_data() {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QList<quint32>>("downs");     // the handlers run after the first call
        QTest::addColumn<QList<quint32>>("moreDowns"); // and after the second
        QTest::addColumn<QList<quint32>>("moreUps");
        const QList<quint32> none;
        const QList<quint32> record{HotKeys::record}, pin{HotKeys::pin}, talk{HotKeys::voice};
        row("record goes down and up at each call", u"record"_s, record, record + record, none);
        row("pin goes down and up at each call", u"pin"_s, pin, pin + pin, none);
        row("talk goes down, and up at the next call", u"talk"_s, talk, talk, talk);
    }
    void theCopiedCommandActsAsTheKey() {
        QFETCH(QString, action);
        QFETCH(QList<quint32>, downs);
        QFETCH(QList<quint32>, moreDowns);
        QFETCH(QList<quint32>, moreUps);
        os::CommandKeys commands(QDBusConnection::sessionBus(), m_busName);
        HotKeys keys(commands);
        QList<quint32> ran, released;
        keys.registerAppKeys({.record = [&] { ran.append(HotKeys::record); },
                              .pin = [&] { ran.append(HotKeys::pin); },
                              .voiceDown = [&] { ran.append(HotKeys::voice); },
                              .voiceUp = [&] { released.append(HotKeys::voice); }});
        QVERIFY(keys.voiceKeyOK());

        SettingsWindowFixture f;
        SettingsView& view = f.open({nullptr, {}, keys.guide()});
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QVERIFY(f.texts(&view).contains(
            u"This desktop gives programs no global keys. To use Orvane\u2019s from any window, bind each "
            "command below to a shortcut in the desktop\u2019s keyboard settings (a custom shortcut), "
            "Ctrl+Alt+R for the first, say."_s));
        auto* field = view.findChild<QLineEdit*>(u"command:"_s + action);
        QVERIFY(field && field->isReadOnly());
        QVERIFY(field->text().startsWith(u"gdbus call --session --dest "_s + m_busName));

        view.findChild<QAbstractButton*>(u"copy:"_s + action)->click();
        Shell clipboard;
        QVERIFY(clipboard.run(u"xclip"_s, {u"-o"_s, u"-selection"_s, u"clipboard"_s}));
        const QString copied = clipboard.out();
        QCOMPARE(copied, field->text());

        Shell first;
        QVERIFY(first.run(u"/bin/sh"_s, {u"-c"_s, copied}));
        QCOMPARE(first.process.exitCode(), 0);
        // Both of a call's key events come at once: with the press in, so is any release.
        QTRY_COMPARE_WITH_TIMEOUT(ran, downs, 10000);
        QCOMPARE(released, QList<quint32>{});

        Shell second;
        QVERIFY(second.run(u"/bin/sh"_s, {u"-c"_s, copied}));
        QCOMPARE(second.process.exitCode(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(ran == moreDowns && released == moreUps, 10000);
    }

    // A command for a key that does not exist says so and runs nothing.
    void anUnknownActionIsAnError() {
        os::CommandKeys commands(QDBusConnection::sessionBus(), m_busName);
        HotKeys keys(commands);
        int runs = 0;
        keys.registerAppKeys(
            {.record = [&] { ++runs; }, .pin = [&] { ++runs; }, .voiceDown = [&] { ++runs; }});
        const QString line = keys.guide().commands.first().line;
        Shell shell;
        QVERIFY(shell.run(u"/bin/sh"_s, {u"-c"_s, QString(line).replace(u" record"_s, u" sing"_s)}));
        QVERIFY(shell.process.exitCode() != 0);
        QVERIFY(QString::fromUtf8(shell.process.readAllStandardError()).contains(u"NoSuchAction"_s));
        // The known one still works, and is the only run.
        QVERIFY(shell.run(u"/bin/sh"_s, {u"-c"_s, line}));
        QTRY_COMPARE_WITH_TIMEOUT(runs, 1, 10000);
    }
};

QTEST_MAIN(TestCommandKeys)
#include "tst_command_keys.moc"
