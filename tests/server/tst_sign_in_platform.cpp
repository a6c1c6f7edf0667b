#include "core/Keychain.h"
#include "fakes/MemorySecretStore.h"
#include "server/SignIn.h"
#include "server/Settings.h"
#include "support/LocalPlatform.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

Q_DECLARE_METATYPE(LocalPlatform::Routes)

// The whole device sign-in against the local platform: the code, the approval in the "browser", the key stored.
class TestSignInPlatform : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;
    MemorySecretStore m_secrets;
    Keychain m_keychain{m_secrets, QStringLiteral("svc")};
    std::unique_ptr<QSettings> m_store;
    std::unique_ptr<Settings> m_settings;
    QList<QUrl> m_opened;

    std::unique_ptr<SignIn> signInTo(const LocalPlatform& platform) {
        m_settings->setPlatformBase(platform.base());
        return std::make_unique<SignIn>([this](const QUrl& url) { m_opened.append(url); });
    }
    static bool waitForPhase(const SignIn& s, const std::function<bool(const SignIn::Phase&)>& wanted) {
        return QTest::qWaitFor([&] { return wanted(s.phase()); }, 15000);
    }
    static bool waiting(const SignIn::Phase& p) { return std::holds_alternative<SignIn::Waiting>(p); }

private slots:
    void init() {
        m_secrets.items.clear();
        m_opened.clear();
        m_settings.reset(); // before the store it writes to
        m_store = std::make_unique<QSettings>(m_tmp.filePath(QStringLiteral("%1.conf").arg(QTest::currentDataTag())),
                                              QSettings::IniFormat);
        m_store->clear();
        m_settings = std::make_unique<Settings>(*m_store, m_keychain);
    }

    void approvedSignInStoresTheKey_data() {
        QTest::addColumn<LocalPlatform::Routes>("routes");
        QTest::newRow("platform routes") << LocalPlatform::Routes::Platform;
        QTest::newRow("only the local app routes") << LocalPlatform::Routes::AppPathsOnly;
    }
    void approvedSignInStoresTheKey() {
        QFETCH(LocalPlatform::Routes, routes);
        LocalPlatform platform(routes);
        QVERIFY2(platform.isRunning(), qPrintable(platform.error()));
        auto signIn = signInTo(platform);
        bool signedIn = false;
        signIn->onSignedIn = [&] { signedIn = true; };

        signIn->begin(*m_settings);
        QVERIFY(signIn->busy());
        QVERIFY(waitForPhase(*signIn, waiting));
        const QString code = signIn->code().value();
        QCOMPARE(m_opened.size(), 1);
        QCOMPARE(m_opened.first().host(), QStringLiteral("127.0.0.1"));
        QVERIFY(m_opened.first().toString().contains(code));
        signIn->begin(*m_settings); // busy: nothing new starts
        QCOMPARE(m_opened.size(), 1);

        QVERIFY(platform.approve(code));
        QVERIFY(QTest::qWaitFor([&] { return signedIn; }, 15000));
        QVERIFY(std::holds_alternative<SignIn::Idle>(signIn->phase()));
        QVERIFY(m_settings->signedIn());
        QCOMPARE(m_settings->accountEmail(), QStringLiteral("dev@orvane.test"));
        QVERIFY(!m_keychain.get(Keychain::accountItem).value_or(QString()).isEmpty());
    }

    void declinedSignInSaysSo() {
        LocalPlatform platform;
        auto signIn = signInTo(platform);
        signIn->begin(*m_settings);
        QVERIFY(waitForPhase(*signIn, waiting));
        QVERIFY(platform.deny(signIn->code().value()));
        QVERIFY(waitForPhase(*signIn, [](const SignIn::Phase& p) {
            const auto* failed = std::get_if<SignIn::Failed>(&p);
            return failed && failed->message == QLatin1String("The sign-in was declined in the browser.");
        }));
        QVERIFY(!m_settings->signedIn());
    }

    // What a poll answers decides whether the sign-in ends; a failure that isn't an answer is a gap to wait out.
    void pollAnswers_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("failure"); // empty: the approval still signs in
        QTest::newRow("expired") << 200 << QByteArray(R"({"status":"expired"})")
                                 << "The code expired. Click Sign in to get a new one.";
        QTest::newRow("a 403 that says Denied") << 403 << QByteArray(R"({"error":"Denied"})")
                                                << "The sign-in was declined in the browser.";
        QTest::newRow("another 403 is a gap") << 403 << QByteArray(R"({"error":"forbidden"})") << "";
        QTest::newRow("a proxy's error page is a gap") << 502 << QByteArray("<html>Bad gateway</html>") << "";
    }
    void pollAnswers() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, failure);
        LocalPlatform platform;
        auto signIn = signInTo(platform);
        bool signedIn = false;
        signIn->onSignedIn = [&] { signedIn = true; };
        QVERIFY(platform.fault({QStringLiteral("/device/poll"), status, body,
                                body.startsWith('{') ? QByteArray("application/json") : QByteArray("text/html")}));
        signIn->begin(*m_settings);
        QVERIFY(waitForPhase(*signIn, waiting));
        QVERIFY(platform.approve(signIn->code().value()));
        if (failure.isEmpty()) {
            QVERIFY(QTest::qWaitFor([&] { return signedIn; }, 15000));
        } else {
            QVERIFY(waitForPhase(*signIn, [&](const SignIn::Phase& p) {
                const auto* failed = std::get_if<SignIn::Failed>(&p);
                return failed && failed->message == failure;
            }));
            QVERIFY(!m_settings->signedIn());
        }
    }

    void cancelStoresNothing() {
        LocalPlatform platform;
        auto signIn = signInTo(platform);
        signIn->begin(*m_settings);
        QVERIFY(waitForPhase(*signIn, waiting));
        const QString code = signIn->code().value();
        signIn->cancel();
        QVERIFY(std::holds_alternative<SignIn::Idle>(signIn->phase()));
        QVERIFY(platform.approve(code));
        // The cancelled flow ends at its next poll without storing the key it would now get.
        QTest::qWait(2500);
        QVERIFY(std::holds_alternative<SignIn::Idle>(signIn->phase()));
        QVERIFY(!m_keychain.get(Keychain::accountItem));
    }

    void anUnreachablePlatformIsNamed() {
        m_settings->setPlatformBase(QStringLiteral("http://127.0.0.1:9"));
        SignIn signIn([](const QUrl&) {});
        signIn.begin(*m_settings);
        QVERIFY(waitForPhase(signIn, [](const SignIn::Phase& p) {
            const auto* failed = std::get_if<SignIn::Failed>(&p);
            return failed && failed->message.startsWith(QStringLiteral("Couldn\u2019t reach 127.0.0.1: "));
        }));
    }
};

QTEST_GUILESS_MAIN(TestSignInPlatform)
#include "tst_sign_in_platform.moc"
