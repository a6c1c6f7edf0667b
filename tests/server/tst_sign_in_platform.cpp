#include "core/Keychain.h"
#include "fakes/MemorySecretStore.h"
#include "server/Settings.h"
#include "server/SignIn.h"
#include "support/LocalPlatform.h"

#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QTest>

Q_DECLARE_METATYPE(LocalPlatform::Routes)

// The whole device sign-in against the local platform: the code, the approval in the "browser", the key
// stored; and every way out of it, which must leave the phase where a new sign-in can begin.
class TestSignInPlatform : public QObject {
    Q_OBJECT
    QTemporaryDir m_tmp;
    std::unique_ptr<MemorySecretStore> m_secrets;
    std::unique_ptr<Keychain> m_keychain;
    std::unique_ptr<QSettings> m_store;
    std::unique_ptr<QNetworkAccessManager> m_network = API::makeNetwork();
    std::unique_ptr<Settings> m_settings;
    QList<QUrl> m_opened;

    std::unique_ptr<SignIn> signInTo(const QString& base) {
        m_settings->setPlatformBase(base);
        return std::make_unique<SignIn>([this](const QUrl& url) { m_opened.append(url); });
    }
    static bool waitForPhase(const SignIn& s, const std::function<bool(const SignIn::Phase&)>& wanted) {
        return QTest::qWaitFor([&] { return wanted(s.phase()); }, 15000);
    }
    static bool waiting(const SignIn::Phase& p) { return std::holds_alternative<SignIn::Waiting>(p); }
    static auto failedWith(const QString& text) {
        return [text](const SignIn::Phase& p) {
            const auto* failed = std::get_if<SignIn::Failed>(&p);
            return failed && failed->message.startsWith(text);
        };
    }
    static int requestsTo(LocalPlatform& platform, const QString& path) {
        const QJsonArray log = platform.requests();
        return int(std::count_if(log.begin(), log.end(), [&](const QJsonValue& r) {
            return r.toObject().value(QLatin1String("path")).toString() == path;
        }));
    }

private slots:
    void init() {
        m_opened.clear();
        m_settings.reset(); // before what it writes to
        m_keychain.reset();
        m_secrets = std::make_unique<MemorySecretStore>();
        m_keychain = std::make_unique<Keychain>(*m_secrets, QStringLiteral("svc"));
        m_store = std::make_unique<QSettings>(
            m_tmp.filePath(
                QStringLiteral("%1-%2.conf").arg(QTest::currentTestFunction(), QTest::currentDataTag())),
            QSettings::IniFormat);
        m_store->clear();
        m_settings = std::make_unique<Settings>(*m_store, *m_keychain, *m_network);
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
        auto signIn = signInTo(platform.base());
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
        QTRY_COMPARE_WITH_TIMEOUT(m_secrets->item(QStringLiteral("svc"), Keychain::accountItem)->label,
                                  Keychain::accountLabel, 5000);
    }

    // What a poll answers decides whether the sign-in ends; a failure that isn't an answer is a gap to wait
    // out.
    void pollAnswers_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("failure"); // empty: the approval still signs in
        QTest::newRow("expired") << 200 << QByteArray(R"({"status":"expired"})")
                                 << "The code expired. Click Sign in to get a new one.";
        QTest::newRow("a 403 that says Denied")
            << 403 << QByteArray(R"({"error":"Denied"})") << "The sign-in was declined in the browser.";
        QTest::newRow("another 403 is a gap") << 403 << QByteArray(R"({"error":"forbidden"})") << "";
        QTest::newRow("a proxy's error page is a gap") << 502 << QByteArray("<html>Bad gateway</html>") << "";
    }
    void pollAnswers() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, failure);
        LocalPlatform platform;
        auto signIn = signInTo(platform.base());
        bool signedIn = false;
        signIn->onSignedIn = [&] { signedIn = true; };
        QVERIFY(platform.fault(
            {QStringLiteral("/device/poll"), status, body,
             body.startsWith('{') ? QByteArray("application/json") : QByteArray("text/html")}));
        signIn->begin(*m_settings);
        QVERIFY(waitForPhase(*signIn, waiting));
        QVERIFY(platform.approve(signIn->code().value()));
        if (failure.isEmpty()) {
            QVERIFY(QTest::qWaitFor([&] { return signedIn; }, 15000));
        } else {
            QVERIFY(waitForPhase(*signIn, failedWith(failure)));
            QVERIFY(!m_settings->signedIn());
        }
    }

    // A cancel at any point returns to idle at once; the cancelled flow opens nothing, stores nothing, and a
    // new sign-in goes through. The new flow's first poll comes a poll interval after the cancel, later than
    // any step the cancelled one would still have taken.
    void cancelAtAnyPoint_data() {
        QTest::addColumn<bool>("whileFetchingTheCode");
        QTest::newRow("while the code is fetched") << true;
        QTest::newRow("while waiting for the approval") << false;
    }
    void cancelAtAnyPoint() {
        QFETCH(bool, whileFetchingTheCode);
        LocalPlatform platform;
        auto signIn = signInTo(platform.base());
        int signIns = 0;
        signIn->onSignedIn = [&] { ++signIns; };
        if (whileFetchingTheCode) {
            QVERIFY(platform.fault(
                {QStringLiteral("/device/start"), 0, {}, {}, {}, std::chrono::milliseconds(400)}));
            signIn->begin(*m_settings);
            QTRY_COMPARE_WITH_TIMEOUT(requestsTo(platform, QStringLiteral("/device/start")), 1, 5000);
        } else {
            signIn->begin(*m_settings);
            QVERIFY(waitForPhase(*signIn, waiting));
            QVERIFY(platform.approve(signIn->code().value()));
        }
        const int openedBefore = m_opened.size();
        signIn->cancel();
        QVERIFY(std::holds_alternative<SignIn::Idle>(signIn->phase()));

        signIn->begin(*m_settings);
        QVERIFY(waitForPhase(*signIn, waiting));
        QVERIFY(platform.approve(signIn->code().value()));
        QVERIFY(QTest::qWaitFor([&] { return signIns > 0; }, 15000));
        QCOMPARE(signIns, 1);
        QCOMPARE(m_opened.size(), openedBefore + 1);
        QCOMPARE(requestsTo(platform, QStringLiteral("/device/poll")), 1);
        QCOMPARE(m_settings->accountEmail(), QStringLiteral("dev@orvane.test"));
        QVERIFY(std::holds_alternative<SignIn::Idle>(signIn->phase()));
    }

    // Any failure, a network one or not, ends in Failed with the text, from which a new sign-in can begin.
    void failuresEndTheFlow_data() {
        QTest::addColumn<bool>("browserFails");
        QTest::newRow("an unreachable platform is named") << false;
        QTest::newRow("a browser that fails to open") << true;
    }
    void failuresEndTheFlow() {
        QFETCH(bool, browserFails);
        LocalPlatform platform;
        m_settings->setPlatformBase(browserFails ? platform.base() : QStringLiteral("http://127.0.0.1:9"));
        SignIn signIn([&](const QUrl&) {
            if (browserFails) throw std::runtime_error("no browser");
        });
        signIn.begin(*m_settings);
        QVERIFY(waitForPhase(signIn, failedWith(QStringLiteral("Couldn\u2019t reach 127.0.0.1: ") +
                                                (browserFails ? QStringLiteral("no browser") : QString()))));
        signIn.begin(*m_settings);
        QVERIFY(std::holds_alternative<SignIn::Starting>(signIn.phase()));
        signIn.cancel();
    }
};

QTEST_GUILESS_MAIN(TestSignInPlatform)
#include "tst_sign_in_platform.moc"
