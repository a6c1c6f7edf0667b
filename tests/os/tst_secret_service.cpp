#include "RequiredServices.h"
#include "core/Keychain.h"
#include "os/linux/LibsecretStore.h"
#include "support/Files.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUuid>

// The keychain against a real gnome-keyring of its own, on a session bus of its own, so that it can be
// locked, unlocked and killed without touching the keyring that other tests share. The process joins that bus
// before anything else speaks D-Bus.
class TestSecretService : public QObject {
    Q_OBJECT
    QTemporaryDir m_home;
    QProcess m_bus, m_keyring;
    const QString m_service =
        QStringLiteral("orvane.test.%1").arg(QUuid::createUuid().toString(QUuid::Id128));
    const QString a = QStringLiteral("account"), b = QStringLiteral("B0A3");

    QString file(const QString& name) const { return m_home.filePath(name); }
    static bool nameOwned() {
        return QDBusConnection::sessionBus().interface()->isServiceRegistered(
            QStringLiteral("org.freedesktop.secrets"));
    }
    static QString secretTool(const QStringList& args) {
        QProcess tool;
        tool.start(QStringLiteral("secret-tool"), args);
        tool.waitForFinished(10000);
        return QString::fromUtf8(tool.readAllStandardOutput());
    }
    // The label of the item as another client of the Secret Service reads it.
    QString label(const QString& account) const {
        const QString out = secretTool({QStringLiteral("search"), QStringLiteral("service"), m_service,
                                        QStringLiteral("account"), account});
        for (const QString& line : out.split(QLatin1Char('\n')))
            if (line.startsWith(QLatin1String("label = "))) return line.mid(8);
        return {};
    }
    static void lockKeyring() {
        QDBusMessage lock = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.secrets"), QStringLiteral("/org/freedesktop/secrets"),
            QStringLiteral("org.freedesktop.Secret.Service"), QStringLiteral("Lock"));
        lock << QVariant::fromValue(
            QList<QDBusObjectPath>{QDBusObjectPath("/org/freedesktop/secrets/aliases/default")});
        QCOMPARE(QDBusConnection::sessionBus().call(lock).type(), QDBusMessage::ReplyMessage);
    }
    // What another program does when the user unlocks the keyring there (gnome-keyring's own call for it).
    static void unlockKeyringElsewhere() {
        const QString service = QStringLiteral("org.freedesktop.secrets"),
                      root = QStringLiteral("/org/freedesktop/secrets");
        QDBusMessage open = QDBusMessage::createMethodCall(
            service, root, QStringLiteral("org.freedesktop.Secret.Service"), QStringLiteral("OpenSession"));
        open << QStringLiteral("plain") << QVariant::fromValue(QDBusVariant(QString()));
        const QDBusMessage session = QDBusConnection::sessionBus().call(open);
        QCOMPARE(session.type(), QDBusMessage::ReplyMessage);
        QDBusMessage unlock = QDBusMessage::createMethodCall(
            service, root, QStringLiteral("org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface"),
            QStringLiteral("UnlockWithMasterPassword"));
        QDBusArgument secret;
        secret.beginStructure();
        secret << session.arguments().value(1).value<QDBusObjectPath>() << QByteArray()
               << QByteArray("orvane-test") << QStringLiteral("text/plain");
        secret.endStructure();
        unlock << QVariant::fromValue(QDBusObjectPath("/org/freedesktop/secrets/collection/login"))
               << QVariant::fromValue(secret);
        QCOMPARE(QDBusConnection::sessionBus().call(unlock).type(), QDBusMessage::ReplyMessage);
    }

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(!QStandardPaths::findExecutable(QStringLiteral("gnome-keyring-daemon")).isEmpty(),
                        "gnome-keyring");
        // Nothing on this bus can show an unlock prompt, so a locked keyring refuses at once, as when the
        // user dismisses the prompt; and nothing restarts the daemon below.
        QVERIFY(QDir(m_home.path()).mkpath(QStringLiteral("services")) && QDir(m_home.path()).mkpath("run"));
        QFile::setPermissions(file("run"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QFile config(file("bus.conf"));
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write(
            QStringLiteral("<busconfig><type>session</type><listen>unix:tmpdir=%1</listen>"
                           "<auth>EXTERNAL</auth><servicedir>%1/services</servicedir>"
                           "<policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
                           "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>")
                .arg(m_home.path())
                .toUtf8());
        config.close();
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), file("run"));
        env.insert(QStringLiteral("XDG_DATA_HOME"), file("data"));
        m_bus.setProcessEnvironment(env);
        m_bus.start(QStringLiteral("dbus-daemon"),
                    {"--config-file=" + file("bus.conf"), "--nofork", "--print-address=1"});
        QVERIFY(QTest::qWaitFor([&] { return m_bus.canReadLine(); }, 10000));
        const QByteArray address = m_bus.readLine().trimmed();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QString::fromUtf8(address));
        m_keyring.setProcessEnvironment(env);
        m_keyring.start(QStringLiteral("gnome-keyring-daemon"),
                        {"--foreground", "--unlock", "--components=secrets"});
        m_keyring.write("orvane-test");
        m_keyring.closeWriteChannel();
        QTRY_VERIFY_WITH_TIMEOUT(nameOwned(), 10000);
    }

    void cleanupTestCase() {
        for (QProcess* p : {&m_keyring, &m_bus}) {
            p->terminate();
            p->waitForFinished(5000);
        }
    }

    void setUpdateDelete() {
        os::LibsecretStore store(file("unused.json"));
        QVERIFY(store.onSecretService());
        QCOMPARE(store.find(m_service, b).status, os::SecretLookup::Missing);
        QCOMPARE(store.put(m_service, b, Keychain::workspaceLabel, "first key"), 0);
        QCOMPARE(store.find(m_service, b).secret, QByteArray("first key"));
        QCOMPARE(label(b), Keychain::workspaceLabel);
        // An update changes the secret in place; the label given at creation stays.
        QCOMPARE(store.put(m_service, b, Keychain::accountLabel, "second kéy"), 0);
        QCOMPARE(store.find(m_service, b).secret, QByteArray("second kéy"));
        QCOMPARE(label(b), Keychain::workspaceLabel);
        QCOMPARE(store.find(m_service + ".other", b).status, os::SecretLookup::Missing);
        QVERIFY(store.remove(m_service, b));
        QCOMPARE(store.find(m_service, b).status, os::SecretLookup::Missing);
        QVERIFY(store.remove(m_service, b)); // a second delete is still a success
    }

    // A locked keyring answers nothing; the loop goes on, what is set meanwhile reads back at once, and once
    // the keyring is unlocked (here by another program) the keys arrive and the refused write is made after
    // all.
    void aLockedKeyringLosesNothing() {
        os::LibsecretStore store(file("unused.json"));
        QCOMPARE(store.put(m_service, a, Keychain::accountLabel, "account key"), 0);
        lockKeyring();
        const testsupport::LogWatch log;
        Keychain keychain(store, m_service);
        QSignalSpy arrived(&keychain, &Keychain::changed);
        keychain.load({a});
        keychain.set(b, QStringLiteral("written while locked"));
        QCOMPARE(keychain.get(b), QStringLiteral("written while locked"));
        QTimer tick;
        QSignalSpy ticked(&tick, &QTimer::timeout);
        tick.start(50);
        QVERIFY(ticked.wait(5000));
        QTRY_VERIFY_WITH_TIMEOUT(log.text().contains("keychain set failed"), 10000); // refused, not lost
        QVERIFY(!keychain.get(a));

        unlockKeyringElsewhere();
        QVERIFY(arrived.wait(10000));
        QCOMPARE(keychain.get(a), QStringLiteral("account key"));
        QTRY_COMPARE_WITH_TIMEOUT(store.find(m_service, b).secret, QByteArray("written while locked"), 10000);
    }

    // Last, as it kills the daemon: with no Secret Service left on the bus the keys go to the private file,
    // and the log says so once.
    void aDeadDaemonFallsBackToTheFileOnce() {
        m_keyring.kill();
        QTRY_VERIFY_WITH_TIMEOUT(!nameOwned(), 10000);
        const QRegularExpression notice(QStringLiteral("no Secret Service on the session bus"));
        QTest::ignoreMessage(QtWarningMsg, notice);
        QTest::failOnWarning(notice);
        os::LibsecretStore store(file("secrets.json"));
        QCOMPARE(store.put(m_service, a, Keychain::accountLabel, "kept in the file"), 0);
        QCOMPARE(store.find(m_service, a).secret, QByteArray("kept in the file"));
        QVERIFY(!store.onSecretService());
        QVERIFY(QFile::exists(file("secrets.json")));
    }
};

QTEST_GUILESS_MAIN(TestSecretService)
#include "tst_secret_service.moc"
