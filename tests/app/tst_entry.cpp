#include "app/Arguments.h"
#include "app/Config.h"

#include <QTest>

Q_DECLARE_METATYPE(EntryMode::Kind)

class TestEntry : public QObject {
    Q_OBJECT
private slots:
    void decide_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<EntryMode::Kind>("kind");
        QTest::addColumn<QString>("dir");
        QTest::addColumn<double>("seconds");
        QTest::addColumn<bool>("singleCopy");
        QTest::newRow("nothing") << QStringList{} << EntryMode::Application << "" << 5.0 << true;
        QTest::newRow("unknown arguments")
            << QStringList{"-psn_0_1", "--what"} << EntryMode::Application << "" << 5.0 << true;
        QTest::newRow("selftest beats rec-test")
            << QStringList{"--rec-test", "3", "--selftest"} << EntryMode::SelfTest << "" << 5.0 << true;
        QTest::newRow("iconset with its folder")
            << QStringList{"--make-iconset", "/tmp/i"} << EntryMode::MakeIconset << "/tmp/i" << 5.0 << true;
        QTest::newRow("iconset without a value passes by")
            << QStringList{"--rec-test", "2", "--make-iconset"} << EntryMode::RecTest << "" << 2.0 << true;
        QTest::newRow("iconset beats previews")
            << QStringList{"--render-previews", "/p", "--make-iconset", "/i"} << EntryMode::MakeIconset
            << "/i" << 5.0 << true;
        QTest::newRow("previews") << QStringList{"x", "--render-previews", "/p"} << EntryMode::RenderPreviews
                                  << "/p" << 5.0 << true;
        QTest::newRow("rec-test default")
            << QStringList{"--rec-test"} << EntryMode::RecTest << "" << 5.0 << true;
        QTest::newRow("rec-test unreadable value")
            << QStringList{"--rec-test", "long"} << EntryMode::RecTest << "" << 5.0 << true;
        QTest::newRow("rec-test fraction")
            << QStringList{"--rec-test", "1.5"} << EntryMode::RecTest << "" << 1.5 << true;
        QTest::newRow("whole strings only") << QStringList{"--selftest=1", "--make-iconset=/x"}
                                            << EntryMode::Application << "" << 5.0 << true;
        QTest::newRow("dump-menu runs beside")
            << QStringList{"--dump-menu"} << EntryMode::Application << "" << 5.0 << false;
        QTest::newRow("ui-check runs beside")
            << QStringList{"--ui-check"} << EntryMode::Application << "" << 5.0 << false;
        QTest::newRow("board-check runs beside")
            << QStringList{"--sign-in", "--board-check"} << EntryMode::Application << "" << 5.0 << false;
    }
    void decide() {
        QFETCH(QStringList, args);
        QFETCH(EntryMode::Kind, kind);
        QFETCH(QString, dir);
        QFETCH(double, seconds);
        QFETCH(bool, singleCopy);
        const EntryMode mode = EntryMode::decide(Arguments(args));
        QCOMPARE(mode.kind, kind);
        QCOMPARE(mode.dir, dir);
        QCOMPARE(mode.seconds, seconds);
        QCOMPARE(mode.singleCopy, singleCopy);
    }

    void launchModesCombine() {
        const LaunchModes m =
            LaunchModes::read(Arguments(QStringList{"--preview", "--wrap", "--retry-pending", "--sign-in",
                                                    "--dump-menu", "--dump-menu-delay", "0.5"}));
        QVERIFY(m.preview && m.wrap && m.retryPending && m.signIn && m.dumpMenu);
        QVERIFY(!m.uiCheck && !m.boardCheck);
        QCOMPARE(m.dumpMenuDelay, 0.5);
        QCOMPARE(LaunchModes::read(Arguments(QStringList{"--dump-menu-delay"})).dumpMenuDelay, 4.0);
        QCOMPARE(LaunchModes::read(Arguments(QStringList{"--dump-menu-delay", "soon"})).dumpMenuDelay, 4.0);
    }
    // The environment is read once, at the start; each variable's odd values fall back to the default.
    void configReadsTheEnvironment_data() {
        QTest::addColumn<QByteArray>("askSeconds");
        QTest::addColumn<QByteArray>("noBrowser");
        QTest::addColumn<QByteArray>("keychainService");
        QTest::addColumn<double>("seconds");
        QTest::addColumn<bool>("logsPages");
        QTest::addColumn<QString>("service");
        QTest::newRow("nothing set") << QByteArray() << QByteArray() << QByteArray() << 120.0 << false
                                     << "orvane.mac";
        QTest::newRow("a fraction of a second, pages logged, a service of its own")
            << QByteArray("0.5") << QByteArray("1") << QByteArray("orvane.test") << 0.5 << true
            << "orvane.test";
        QTest::newRow("words are not numbers, only 1 means yes, empty is unset")
            << QByteArray("soon") << QByteArray("true") << QByteArray("") << 120.0 << false << "orvane.mac";
        QTest::newRow("a negative wait and a 1 with a blank are ignored")
            << QByteArray("-3") << QByteArray("1 ") << QByteArray() << 120.0 << false << "orvane.mac";
    }
    void configReadsTheEnvironment() {
        QFETCH(QByteArray, askSeconds);
        QFETCH(QByteArray, noBrowser);
        QFETCH(QByteArray, keychainService);
        const auto set = [](const char* name, const QByteArray& value) {
            if (value.isNull())
                qunsetenv(name);
            else
                qputenv(name, value);
        };
        set("ORVANE_ASK_SECONDS", askSeconds);
        set("ORVANE_NO_BROWSER", noBrowser);
        set("ORVANE_KEYCHAIN_SERVICE", keychainService);
        const Config config = Config::fromEnvironment();
        QTEST(config.askSeconds, "seconds");
        QTEST(config.noBrowser, "logsPages");
        QTEST(config.keychainService, "service");
    }
};

QTEST_GUILESS_MAIN(TestEntry)
#include "tst_entry.moc"
