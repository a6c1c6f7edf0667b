#include "core/Keychain.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "fakes/MemorySecretStore.h"
#include "os/FileSecretStore.h"

#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

// The keychain's rules over a store in memory that can be locked, and the private file that stands in for the
// Secret Service. The real Secret Service, locked and unlocked, is in tests/os.
class TestKeychain : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;
    const QString a = QStringLiteral("a"), b = QStringLiteral("b"), svc = QStringLiteral("svc");

private slots:
    void keysArriveOnceLoaded() {
        MemorySecretStore store;
        store.insert(svc, a, {QString(), "key a"});
        store.insert(svc, b, {QString(), QByteArray("\xff\xfe", 2)});
        Keychain keychain(store, svc);
        QSignalSpy arrived(&keychain, &Keychain::changed);
        keychain.load({a, b});
        QVERIFY(!keychain.get(a)); // not read on the caller's thread
        QVERIFY(keychain.loading());
        QSignalSpy settled(&keychain, &Keychain::settled);
        QVERIFY(settled.wait(5000));
        QCOMPARE(arrived.count(), 1);
        QCOMPARE(keychain.get(a), QStringLiteral("key a"));
        QVERIFY(!keychain.get(b)); // not UTF-8
    }

    // A locked store answers nothing; what is set meanwhile reads back at once, reaches the store after the
    // unlock, and is not overwritten by the older value that the load then brings.
    void aLockedStoreLosesNoWrite() {
        MemorySecretStore store;
        store.insert(svc, a, {QString(), "old a"});
        store.insert(svc, b, {QString(), "key b"});
        store.lock();
        Keychain keychain(store, svc);
        keychain.load({a, b});
        keychain.set(a, QStringLiteral("very-secret-value"));
        QCOMPARE(keychain.get(a), QStringLiteral("very-secret-value"));
        QTRY_VERIFY_WITH_TIMEOUT(logText().contains("keychain set failed: -25308"), 5000);
        QVERIFY(!logText().contains("very-secret-value"));
        QVERIFY(!keychain.get(b));

        QSignalSpy arrived(&keychain, &Keychain::changed);
        store.unlock();
        QVERIFY(arrived.wait(5000));
        QCOMPARE(keychain.get(b), QStringLiteral("key b"));
        QTRY_COMPARE_WITH_TIMEOUT(store.item(svc, a)->secret, QByteArray("very-secret-value"), 5000);
        QCOMPARE(keychain.get(a), QStringLiteral("very-secret-value"));
        keychain.remove(a);
        QTRY_VERIFY_WITH_TIMEOUT(!store.item(svc, a), 5000);
    }

    void fileStoreIsPrivateAndLasts() {
        const QString path = m_tmp.filePath(QStringLiteral("secrets.json"));
        {
            os::FileSecretStore store(path);
            Keychain keychain(store, svc);
            keychain.set(a, QStringLiteral("k1"));
            keychain.set(b, QStringLiteral("k2"));
            keychain.remove(a);
        } // the writes are made before the keychain goes
        QCOMPARE(QFileInfo(path).permissions() &
                     ~(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser),
                 QFile::Permissions());
        os::FileSecretStore again(path);
        QCOMPARE(again.find(svc, a).status, os::SecretLookup::Missing);
        QCOMPARE(again.find(svc, b).secret, QByteArray("k2"));
    }

    void corruptFileIsUnreadableAndKept() {
        const QString path = m_tmp.filePath(QStringLiteral("corrupt.json"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{ half");
        file.close();
        os::FileSecretStore store(path);
        QCOMPARE(store.find(svc, a).status, os::SecretLookup::Unreadable);
        QVERIFY(store.put(svc, a, QString(), "k") != 0);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("{ half"));
    }

private:
    static QByteArray logText() {
        slogFlush();
        QFile log(Paths::logFile());
        return log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
    }
};

QTEST_GUILESS_MAIN(TestKeychain)
#include "tst_keychain.moc"
