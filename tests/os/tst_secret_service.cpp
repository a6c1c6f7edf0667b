#include "RequiredServices.h"
#include "core/Keychain.h"
#include "os/linux/Backends.h"
#include "os/linux/LibsecretStore.h"

#include <QProcess>
#include <QTest>
#include <QUuid>

// The keychain against the desktop's real Secret Service (gnome-keyring under ./scripts/test).
class TestSecretService : public QObject {
    Q_OBJECT
    os::LibsecretStore m_store;
    // A service of this run alone, so that runs never see each other's items.
    const QString m_service = QStringLiteral("orvane.test.%1").arg(QUuid::createUuid().toString(QUuid::Id128));

    // The label of the item as another client of the Secret Service reads it.
    QString labelSeenBySecretTool(const QString& account) {
        QProcess tool;
        tool.start(QStringLiteral("secret-tool"),
                   {QStringLiteral("search"), QStringLiteral("service"), m_service, QStringLiteral("account"), account});
        if (!tool.waitForFinished(10000))
            return {};
        const QString out = QString::fromUtf8(tool.readAllStandardOutput() + tool.readAllStandardError());
        for (const QString& line : out.split(QLatin1Char('\n')))
            if (line.startsWith(QLatin1String("label = ")))
                return line.mid(8);
        return {};
    }

private slots:
    void initTestCase() { REQUIRE_SERVICE(os::LibsecretStore::available(), "the Secret Service"); }

    void backendPicksTheSecretService() {
        const auto store = os::linux_backends::makeSecretStore(QStringLiteral("/nonexistent/secrets.json"));
        QVERIFY(dynamic_cast<os::LibsecretStore*>(store.get()));
    }

    void setUpdateDelete() {
        Keychain keychain(m_store, m_service);
        const QString account = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        QVERIFY(!keychain.get(account));

        QVERIFY(keychain.set(account, QStringLiteral("first key")));
        QCOMPARE(keychain.get(account), QStringLiteral("first key"));
        QCOMPARE(labelSeenBySecretTool(account), Keychain::workspaceLabel);

        // An update changes the secret in place; the label given at creation stays.
        QVERIFY(keychain.set(account, QStringLiteral("second kéy"), QStringLiteral("another label")));
        QCOMPARE(keychain.get(account), QStringLiteral("second kéy"));
        QCOMPARE(labelSeenBySecretTool(account), Keychain::workspaceLabel);

        QVERIFY(keychain.remove(account));
        QVERIFY(!keychain.get(account));
        QVERIFY(keychain.remove(account)); // a second delete is still a success
    }

    void accountItemIsApartFromWorkspaces() {
        Keychain keychain(m_store, m_service);
        QVERIFY(keychain.set(Keychain::accountItem, QStringLiteral("account key"), Keychain::accountLabel));
        QCOMPARE(labelSeenBySecretTool(Keychain::accountItem), Keychain::accountLabel);
        QVERIFY(!Keychain(m_store, m_service + QStringLiteral(".other")).get(Keychain::accountItem));
        QVERIFY(keychain.set(Keychain::accountItem, QString()));
        QVERIFY(!keychain.get(Keychain::accountItem));
    }
};

QTEST_GUILESS_MAIN(TestSecretService)
#include "tst_secret_service.moc"
