#include "core/Keychain.h"
#include "fakes/MemorySecretStore.h"
#include "os/FileSecretStore.h"
#include "support/Files.h"

#include <QSignalSpy>
#include <QTemporaryDir>

using namespace Qt::Literals::StringLiterals;

// The keychain's rules over a store in memory that can be locked, and the private file that stands in for the
// Secret Service. The real Secret Service, locked and unlocked, is in tests/os.
class TestKeychain : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;
    const QString a = u"a"_s, b = u"b"_s, c = u"c"_s, svc = u"svc"_s;

private slots:
    // A locked store answers nothing; what is set meanwhile reads back at once, reaches the store after the
    // unlock, and is not overwritten by the older value that the load then brings.
    void aLockedStoreLosesNoWrite() {
        MemorySecretStore store;
        store.insert(svc, a, {QString(), "old a"});
        store.insert(svc, b, {QString(), "key b"});
        store.insert(svc, c, {QString(), QByteArray("\xff\xfe", 2)});
        store.lock();
        const testsupport::LogWatch log;
        Keychain keychain(store, svc);
        keychain.load({a, b, c});
        keychain.set(a, u"very-secret-value"_s);
        QCOMPARE(keychain.get(a), u"very-secret-value"_s);
        QTRY_VERIFY_WITH_TIMEOUT(log.text().contains(QLatin1String("keychain set failed")), 5000);
        QVERIFY(!log.text().contains(QLatin1String("very-secret-value")));
        QVERIFY(!keychain.get(b));

        QSignalSpy arrived(&keychain, &Keychain::changed);
        store.unlock();
        QVERIFY(arrived.wait(5000));
        QCOMPARE(keychain.get(b), u"key b"_s);
        QVERIFY(!keychain.get(c)); // not UTF-8
        QTRY_COMPARE_WITH_TIMEOUT(store.item(svc, a)->secret, QByteArray("very-secret-value"), 5000);
        QCOMPARE(keychain.get(a), u"very-secret-value"_s);
        keychain.remove(a);
        QTRY_VERIFY_WITH_TIMEOUT(!store.item(svc, a), 5000);
    }

    void fileStoreIsPrivateAndLasts() {
        const QString path = m_tmp.filePath(u"secrets.json"_s);
        {
            os::FileSecretStore store(path);
            Keychain keychain(store, svc);
            keychain.set(a, u"k1"_s);
            keychain.set(b, u"k2"_s);
            keychain.remove(a);
        } // the writes are made before the keychain goes
        QCOMPARE(QFileInfo(path).permissions() &
                     (QFile::ReadGroup | QFile::ReadOther | QFile::WriteGroup | QFile::WriteOther),
                 QFile::Permissions());
        os::FileSecretStore again(path);
        QCOMPARE(again.find(svc, a).status, os::SecretLookup::Missing);
        QCOMPARE(again.find(svc, b).secret, QByteArray("k2"));
    }

    void corruptFileIsUnreadableAndKept() {
        const QString path = m_tmp.filePath(u"corrupt.json"_s);
        testsupport::writeFile(path, "{ half");
        os::FileSecretStore store(path);
        QCOMPARE(store.find(svc, a).status, os::SecretLookup::Unreadable);
        QVERIFY(store.put(svc, a, QString(), "k") != 0);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("{ half"));
    }
};

QTEST_GUILESS_MAIN(TestKeychain)
#include "tst_keychain.moc"
