#include "Controller.h"
#include "support/LocalPlatform.h"

#include <QJsonArray>
#include <QSignalSpy>
#include <QTest>

// The controller's picture of the account against the local platform: projects, a revoked key, the
// recordings that waited for a sign-in.
class TestAccountFlow : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;

    // Every outcome of a refresh redraws the menu before `then` runs.
    static bool refreshed(Controller& c) {
        QSignalSpy menu(&c.app(), &AppDelegate::menuRebuilt);
        bool done = false;
        c.app().account().refreshAccount([&] { done = true; });
        return QTest::qWaitFor([&] { return done; }, 10000) && !menu.isEmpty();
    }

private slots:
    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
    }
    void cleanup() { m_platform.reset(); }

    void aValidKeyLoadsTheProjects() {
        Controller c(m_platform->base());
        c.settings().setAccountError(QStringLiteral("an earlier failure"));
        QVERIFY(c.signInAndLoadProjects());
        QCOMPARE(c.settings().projects().size(), 2);
        QCOMPARE(c.settings().projects().first().slug, QStringLiteral("brevik"));
        QVERIFY(!c.settings().accountError());
    }

    void aRevokedKeyKeepsTheUserSignedIn() {
        Controller c(m_platform->base());
        QVERIFY(c.signInAndLoadProjects());
        c.settings().signIn(QStringLiteral("revoked-key"), QStringLiteral("dev@orvane.test"), std::nullopt);
        QVERIFY(refreshed(c));
        QVERIFY(c.settings().signedIn());
        QCOMPARE(c.settings().accountError(),
                 QStringLiteral("the sign-in is no longer valid \u2014 sign out and sign in again"));
        QCOMPARE(c.settings().projects().size(), 2); // the cached projects stay in use
    }

    void anUnreachablePlatformKeepsTheProjects() {
        Controller c(m_platform->base());
        QVERIFY(c.signInAndLoadProjects());
        c.settings().setPlatformBase(QStringLiteral("http://127.0.0.1:9"));
        QVERIFY(refreshed(c));
        QVERIFY(c.settings().accountError().value_or(QString()).startsWith(
            QStringLiteral("couldn\u2019t load your projects: ")));
        QCOMPARE(c.settings().projects().size(), 2);
    }

    void withNoHomeAndNoAccountNothingIsAsked() {
        Controller c(m_platform->base());
        bool calledAtOnce = false;
        c.app().account().refreshAccount([&] { calledAtOnce = true; });
        QVERIFY(calledAtOnce);
        QVERIFY(m_platform->requests().isEmpty());
    }

    void aRecordingWithoutAccountAsksForTheSignIn() {
        Controller c(m_platform->base());
        const auto session =
            c.recorded(QStringLiteral("Weekly sync with the design team and everyone else invited"));
        c.app().filing().finish(session);
        QVERIFY(c.showsNudge(QStringLiteral("Sign in to send it")));
        QCOMPARE(
            c.shownNudge()->message.value_or(QString()),
            QStringLiteral("\u201cWeekly sync with the design team and everyone els\u2026\u201d is saved on "
                           "this computer, not sent yet. It uploads as soon as you are signed in."));
        const auto* failed = std::get_if<UploadState::Failed>(&c.app().upload());
        QVERIFY(failed);
        QCOMPARE(failed->message, QStringLiteral("not signed in \u2014 Sign in to Orvane to send it"));
        QVERIFY(QFileInfo::exists(session->dir));
        QVERIFY(m_platform->requests().isEmpty());
    }

    void aSignInSendsTheRecordingsThatWaited() {
        Controller c(m_platform->base());
        c.recorded(QStringLiteral("Waited for the sign-in"));
        c.settings().signIn(QStringLiteral("dev-key"), QStringLiteral("dev@orvane.test"), std::nullopt);
        c.app().account().signedIn();
        QVERIFY(QTest::qWaitFor([&] { return c.showsNudge(QStringLiteral("Where does this go?")); }, 10000));
        QVERIFY(c.shownNudge()->message->startsWith(QStringLiteral("\u201cWaited for the sign-in\u201d")));
    }
};

QTEST_MAIN(TestAccountFlow)
#include "tst_account_flow.moc"
