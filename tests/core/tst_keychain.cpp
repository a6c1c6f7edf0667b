#include "core/Keychain.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "fakes/MemorySecretStore.h"
#include "os/FileSecretStore.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

// The keychain's failure rules over a store in memory, and the private file that stands in for the Secret Service.
// Set, update and delete are tested against the real Secret Service in tests/os.
class TestKeychain : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;

private slots:
    void notUtf8ReadsAsNothing() {
        MemorySecretStore store;
        store.items.insert({QStringLiteral("svc"), QStringLiteral("a")}, {QString(), QByteArray("\xff\xfe", 2)});
        QVERIFY(!Keychain(store, QStringLiteral("svc")).get(QStringLiteral("a")));
    }

    void failedWriteIsLoggedWithoutTheSecret() {
        MemorySecretStore store;
        store.failPuts = true;
        Keychain keychain(store, QStringLiteral("svc"));
        QVERIFY(!keychain.set(QStringLiteral("a"), QStringLiteral("very-secret-value")));
        slogFlush();
        QFile log(Paths::logFile());
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QByteArray text = log.readAll();
        QVERIFY(text.contains("keychain set failed: -25308"));
        QVERIFY(!text.contains("very-secret-value"));
    }

    void fileStoreIsPrivateAndLasts() {
        const QString path = m_tmp.filePath(QStringLiteral("secrets.json"));
        {
            os::FileSecretStore store(path);
            Keychain keychain(store, QStringLiteral("svc"));
            QVERIFY(keychain.set(QStringLiteral("a"), QStringLiteral("k1")));
            QVERIFY(keychain.set(QStringLiteral("b"), QStringLiteral("k2")));
        }
        QCOMPARE(QFileInfo(path).permissions() & ~(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser),
                 QFile::Permissions());
        os::FileSecretStore again(path);
        Keychain keychain(again, QStringLiteral("svc"));
        QCOMPARE(keychain.get(QStringLiteral("a")), QStringLiteral("k1"));
        QVERIFY(keychain.remove(QStringLiteral("a")));
        QVERIFY(keychain.remove(QStringLiteral("a")));
        QVERIFY(!keychain.get(QStringLiteral("a")));
        QCOMPARE(keychain.get(QStringLiteral("b")), QStringLiteral("k2"));
    }

    void corruptFileStoreReadsAsEmpty() {
        const QString path = m_tmp.filePath(QStringLiteral("corrupt.json"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{ half");
        file.close();
        os::FileSecretStore store(path);
        QVERIFY(!store.find(QStringLiteral("svc"), QStringLiteral("a")));
    }
};

QTEST_GUILESS_MAIN(TestKeychain)
#include "tst_keychain.moc"
