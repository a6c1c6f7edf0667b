#include "fakes/FakeBrowser.h"
#include "fakes/FakeNotifications.h"
#include "fakes/SettingsFixture.h"
#include "surfaces/Notify.h"

#include <QTest>
#include <functional>

using Call = std::function<void(Notify&)>;
Q_DECLARE_METATYPE(Call)
Q_DECLARE_METATYPE(Notify::Run)
Q_DECLARE_METATYPE(std::optional<QUrl>)

namespace {
const QUrl boardHome(QStringLiteral("https://orvane.app/app"));
const QUrl callPage(QStringLiteral("https://orvane.app/app/p/brevik/#/library/call/c%3A7"));
const QString fiftyChars = QString(50, QLatin1Char('x'));
} // namespace

// The notifications' rules and texts, over a notification centre in memory.
class TestNotify : public QObject {
    Q_OBJECT
    std::unique_ptr<SettingsFixture> m_fixture;
    FakeNotifications m_center;
    FakeBrowser m_browser;
    std::unique_ptr<Notify> m_notify;

private slots:
    void init() {
        m_fixture = std::make_unique<SettingsFixture>();
        m_center.serviceAnswers = true;
        m_center.posted.clear();
        m_browser.opened.clear();
        m_notify = std::make_unique<Notify>(m_center, m_browser, m_fixture->settings);
    }

    void setupDecidesWhetherNotificationsAreShown_data() {
        QTest::addColumn<Notify::Run>("run");
        QTest::addColumn<bool>("serviceAnswers");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("a plain start on a desktop with notifications shows them")
            << Notify::Run{} << true << true;
        QTest::newRow("--dump-menu runs beside the user's copy and stays quiet")
            << Notify::Run{.dumpMenu = true} << true << false;
        QTest::newRow("--ui-check stays quiet") << Notify::Run{.uiCheck = true} << true << false;
        QTest::newRow("a desktop without a notification service gets none")
            << Notify::Run{} << false << false;
    }
    void setupDecidesWhetherNotificationsAreShown() {
        QFETCH(Notify::Run, run);
        QFETCH(bool, serviceAnswers);
        QFETCH(bool, enabled);
        m_center.serviceAnswers = serviceAnswers;
        QVERIFY(!m_notify->enabled());
        m_notify->setup(run);
        QCOMPARE(m_notify->enabled(), enabled);
        m_notify->saved(QStringLiteral("c1"), QStringLiteral("Standup"), QStringLiteral("Brevik"), callPage,
                        {});
        QCOMPARE(m_center.posted.size(), enabled ? 1 : 0);
    }

    void messages_data() {
        QTest::addColumn<Call>("call");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("body");
        QTest::addColumn<QString>("url");
        const QString page = callPage.toString(QUrl::FullyEncoded);
        const auto review = [](const QString& title, int suggestions, const std::optional<QUrl>& url) {
            return Call([=](Notify& n) { n.reviewReady(QStringLiteral("c:7"), title, suggestions, url); });
        };
        const auto saved = [](const QString& title, const QString& where, const std::optional<QString>& key) {
            return Call([=](Notify& n) { n.saved(QStringLiteral("c:7"), title, where, callPage, key); });
        };
        QTest::newRow("a review with one suggestion") << review("Standup", 1, callPage) << "review.c:7"
                                                      << "Review ready — Standup"
                                                      << "1 suggestion to look at." << page;
        QTest::newRow("a review without suggestions") << review("Standup", 0, callPage) << "review.c:7"
                                                      << "Review ready — Standup"
                                                      << "Notes and the workflow review are in." << page;
        QTest::newRow("a review of a long recording has its title shortened")
            << review(fiftyChars, 2, std::nullopt) << "review.c:7"
            << "Review ready — " + QString(43, QLatin1Char('x')) + "…"
            << "2 suggestions to look at." << QString();
        QTest::newRow("a saved recording is named by its folder")
            << saved("Design sync", "Brevik", QStringLiteral("2026-11-23_1015")) << "session.2026-11-23_1015"
            << "Design sync"
            << "Saved in Brevik" << page;
        QTest::newRow("a saved recording without a folder is named by its call, its title whole")
            << saved(fiftyChars, "Personal", std::nullopt) << "session.c:7" << fiftyChars
            << "Saved in Personal" << page;
        QTest::newRow("a recording filed in Personal by default points at the board")
            << Call([](Notify& n) {
                   n.filedPersonal(QStringLiteral("Design sync"), QStringLiteral("folder"));
               })
            << "session.folder"
            << "Where does this go? → Personal"
            << "No choice in 2 min, so “Design sync” goes to Personal (only you see it). Move it from the "
               "menu."
            << boardHome.toString();
    }
    void messages() {
        QFETCH(Call, call);
        m_notify->setup({});
        call(*m_notify);
        QCOMPARE(m_center.posted.size(), 1);
        const os::Notification& n = m_center.posted.first();
        QTEST(n.id, "id");
        QTEST(n.title, "title");
        QTEST(n.body, "body");
        QTEST(n.userInfo.value(Notify::urlKey).toString(), "url");
    }

    void shortened_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("limit");
        QTest::addColumn<QString>("shortened");
        QTest::newRow("a text of exactly the limit stands") << "Standup" << 7 << "Standup";
        QTest::newRow("one over the limit ends in an ellipsis within the limit")
            << "Standups" << 7 << "Standu…";
        QTest::newRow("an emoji with a skin tone is one character")
            << "👍🏽👍🏽👍🏽" << 2 << "👍🏽…";
        QTest::newRow("a letter with a combining accent is one character")
            << QStringLiteral("Cafe\u0301 Cafe\u0301") << 5 << QStringLiteral("Cafe\u0301…");
        QTest::newRow("a title of 45 is cut to 43 for a review")
            << QString(45, QLatin1Char('a')) << Notify::reviewTitleLimit
            << QString(43, QLatin1Char('a')) + "…";
        QTest::newRow("a title of 44 stays whole for a review")
            << QString(44, QLatin1Char('a')) << Notify::reviewTitleLimit << QString(44, QLatin1Char('a'));
    }
    void shortened() {
        QFETCH(QString, text);
        QFETCH(int, limit);
        QTEST(Notify::shortened(text, limit), "shortened");
    }

    void target_data() {
        QTest::addColumn<QVariant>("url");
        QTest::addColumn<QString>("base");
        QTest::addColumn<std::optional<QUrl>>("home");
        QTest::addColumn<std::optional<QUrl>>("target");
        const QString base = QStringLiteral("https://orvane.app");
        const QString local = QStringLiteral("http://127.0.0.1:7440");
        QTest::newRow("a board page opens as it stands")
            << QVariant(callPage.toString()) << base << std::optional(boardHome) << std::optional(callPage);
        QTest::newRow("a page of the local platform opens on its own scheme")
            << QVariant(QStringLiteral("http://127.0.0.1:7440/app/r/c%3A7")) << local
            << std::optional(boardHome)
            << std::optional(QUrl(QStringLiteral("http://127.0.0.1:7440/app/r/c%3A7")));
        QTest::newRow("a foreign site opens the board home")
            << QVariant(QStringLiteral("https://orvane.app.example.com/app")) << base
            << std::optional(boardHome) << std::optional(boardHome);
        QTest::newRow("plain http to the platform opens the board home")
            << QVariant(QStringLiteral("http://orvane.app/app")) << base << std::optional(boardHome)
            << std::optional(boardHome);
        QTest::newRow("a legacy workspace server opens the board home")
            << QVariant(QStringLiteral("https://brevik.orvane.app/#/board")) << base
            << std::optional(boardHome) << std::optional(boardHome);
        QTest::newRow("no url opens the board home")
            << QVariant() << base << std::optional(boardHome) << std::optional(boardHome);
        QTest::newRow("no url and no board opens nothing")
            << QVariant() << base << std::optional<QUrl>() << std::optional<QUrl>();
    }
    void target() {
        QFETCH(QVariant, url);
        QFETCH(QString, base);
        QFETCH(std::optional<QUrl>, home);
        QVariantMap userInfo;
        if (url.isValid()) userInfo.insert(Notify::urlKey, url);
        QTEST(Notify::target(userInfo, base, home), "target");
    }

    void clickOpensTheTarget_data() {
        QTest::addColumn<std::optional<QUrl>>("posted");
        QTest::addColumn<QUrl>("opened");
        QTest::newRow("the recording's board page") << std::optional(callPage) << callPage;
        QTest::newRow("a foreign page is not followed")
            << std::optional(QUrl(QStringLiteral("https://example.com/phish"))) << boardHome;
    }
    void clickOpensTheTarget() {
        QFETCH(std::optional<QUrl>, posted);
        m_notify->setup({});
        m_notify->reviewReady(QStringLiteral("c:7"), QStringLiteral("Standup"), 1, posted);
        QVERIFY(m_browser.opened.isEmpty());
        QVERIFY(m_center.click(QStringLiteral("review.c:7")));
        QFETCH(QUrl, opened);
        QCOMPARE(m_browser.opened, QList<QUrl>{opened});
    }
};

QTEST_GUILESS_MAIN(TestNotify)
#include "tst_notify.moc"
