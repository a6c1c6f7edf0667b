#include "fakes/SettingsFixture.h"
#include "server/SignIn.h"
#include "support/LocalPlatform.h"

#include "support/Rows.h"

#include <QJsonArray>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

using namespace std::chrono_literals;
using testsupport::row;

Q_DECLARE_METATYPE(LocalPlatform::Routes)

// The whole device sign-in against the local platform: the code, the approval in the "browser", the key
// stored; and every way out of it, which must leave the phase where a new sign-in can begin.
class TestSignInPlatform : public QObject {
    Q_OBJECT
    std::unique_ptr<SettingsFixture> m_fixture;
    QList<QUrl> m_opened;

    std::unique_ptr<SignIn> signInTo(const QString& base) {
        m_fixture->settings.setPlatformBase(base);
        return std::make_unique<SignIn>([this](const QUrl& url) {
            m_opened.append(url);
            return true;
        });
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
        m_fixture = std::make_unique<SettingsFixture>(false);
    }

    // An approved sign-in stores the key. A cancel at any point returns to idle at once; the cancelled flow
    // opens nothing, stores nothing, and the new sign-in after it is the only one. The new flow's first poll
    // comes a poll interval after the cancel, later than any step the cancelled one would still have taken.
    void anApprovedSignInStoresTheKey_data() {
        QTest::addColumn<LocalPlatform::Routes>("routes");
        QTest::addColumn<QString>("cancelled"); // what the sign-in cancelled before this one was doing
        row("on the platform routes", LocalPlatform::Routes::Platform, "");
        row("on the local app routes only", LocalPlatform::Routes::AppPathsOnly, "");
        row("after one cancelled while the code is fetched", LocalPlatform::Routes::Platform, "fetching");
        row("after one cancelled while waiting for the approval", LocalPlatform::Routes::Platform, "waiting");
    }
    void anApprovedSignInStoresTheKey() {
        QFETCH(LocalPlatform::Routes, routes);
        QFETCH(QString, cancelled);
        LocalPlatform platform(routes);
        QVERIFY2(platform.isRunning(), qPrintable(platform.error()));
        auto signIn = signInTo(platform.base());
        int signIns = 0;
        signIn->onSignedIn = [&] { ++signIns; };
        Settings& settings = m_fixture->settings;
        if (cancelled == QLatin1String("fetching")) {
            QVERIFY(platform.fault({u"/device/start"_s, 0, {}, {}, {}, 400ms}));
            signIn->begin(settings);
            QTRY_COMPARE_WITH_TIMEOUT(requestsTo(platform, u"/device/start"_s), 1, 5000);
        } else if (cancelled == QLatin1String("waiting")) {
            signIn->begin(settings);
            QVERIFY(waitForPhase(*signIn, waiting));
            QVERIFY(platform.approve(signIn->code().value()));
        }
        signIn->cancel();
        QVERIFY(std::holds_alternative<SignIn::Idle>(signIn->phase()));
        const qsizetype opened = m_opened.size();

        signIn->begin(settings);
        QVERIFY(signIn->busy());
        QVERIFY(waitForPhase(*signIn, waiting));
        const QString code = signIn->code().value();
        QCOMPARE(m_opened.size(), opened + 1);
        QCOMPARE(m_opened.last().host(), u"127.0.0.1"_s);
        QVERIFY(m_opened.last().toString().contains(code));
        signIn->begin(settings); // busy: nothing new starts
        QCOMPARE(m_opened.size(), opened + 1);

        QVERIFY(platform.approve(code));
        QVERIFY(QTest::qWaitFor([&] { return signIns > 0; }, 15000));
        QCOMPARE(signIns, 1);
        QCOMPARE(requestsTo(platform, routes == LocalPlatform::Routes::Platform
                                          ? u"/device/poll"_s
                                          : u"/app/api/platform/device/poll"_s),
                 1);
        QVERIFY(std::holds_alternative<SignIn::Idle>(signIn->phase()));
        QCOMPARE(settings.accountEmail(), u"dev@orvane.test"_s);
        QTRY_COMPARE_WITH_TIMEOUT(m_fixture->secrets.item(u"svc"_s, Keychain::accountItem)
                                      .value_or(MemorySecretStore::Item{})
                                      .label,
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
            {u"/device/poll"_s, status, body,
             body.startsWith('{') ? QByteArray("application/json") : QByteArray("text/html")}));
        signIn->begin(m_fixture->settings);
        QVERIFY(waitForPhase(*signIn, waiting));
        QVERIFY(platform.approve(signIn->code().value()));
        if (failure.isEmpty()) {
            QVERIFY(QTest::qWaitFor([&] { return signedIn; }, 15000));
        } else {
            QVERIFY(waitForPhase(*signIn, failedWith(failure)));
            QVERIFY(!m_fixture->settings.signedIn());
        }
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
        m_fixture->settings.setPlatformBase(browserFails ? platform.base() : u"http://127.0.0.1:9"_s);
        SignIn signIn([&](const QUrl&) {
            if (browserFails) throw std::runtime_error("no browser");
            return true;
        });
        signIn.begin(m_fixture->settings);
        QVERIFY(waitForPhase(signIn, failedWith(u"Couldn\u2019t reach 127.0.0.1: "_s +
                                                (browserFails ? u"no browser"_s : QString()))));
        signIn.begin(m_fixture->settings);
        QVERIFY(std::holds_alternative<SignIn::Starting>(signIn.phase()));
        signIn.cancel();
    }
};

QTEST_GUILESS_MAIN(TestSignInPlatform)
#include "tst_sign_in_platform.moc"
