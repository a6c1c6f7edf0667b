#include "fakes/FakeNotifications.h"
#include "fakes/SettingsFixture.h"
#include "support/Rows.h"
#include "surfaces/Notify.h"

#include <QTest>
#include <functional>

using namespace Qt::Literals::StringLiterals;

using testsupport::row;
using Call = std::function<void(Notify&)>;
Q_DECLARE_METATYPE(Call)
Q_DECLARE_METATYPE(Notify::Run)

namespace {
const QUrl boardHome(u"https://orvane.app/app"_s);
const QUrl callPage(u"https://orvane.app/app/p/brevik/#/library/call/c%3A7"_s);
const QString fiftyChars = QString(50, QLatin1Char('x'));
} // namespace

// The notifications' rules and texts, over a notification centre in memory.
class TestNotify : public QObject {
    Q_OBJECT
    std::unique_ptr<SettingsFixture> m_fixture;
    FakeNotifications m_center;
    std::unique_ptr<Notify> m_notify;

private slots:
    void init() {
        m_fixture = std::make_unique<SettingsFixture>();
        m_center.posted.clear();
        m_notify = std::make_unique<Notify>(m_center, m_fixture->settings);
    }

    void setupDecidesWhetherNotificationsAreShown_data() {
        QTest::addColumn<Notify::Run>("run");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("a plain start on a desktop with notifications shows them") << Notify::Run{} << true;
        QTest::newRow("--dump-menu runs beside the user's copy and stays quiet")
            << Notify::Run{.dumpMenu = true} << false;
        QTest::newRow("--ui-check stays quiet") << Notify::Run{.uiCheck = true} << false;
    }
    void setupDecidesWhetherNotificationsAreShown() {
        QFETCH(Notify::Run, run);
        QFETCH(bool, enabled);
        QVERIFY(!m_notify->enabled());
        m_notify->setup(run);
        QCOMPARE(m_notify->enabled(), enabled);
        m_notify->saved(u"c1"_s, u"Standup"_s, u"Brevik"_s, callPage, {});
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
            return Call([=](Notify& n) { n.reviewReady(u"c:7"_s, title, suggestions, url); });
        };
        const auto saved = [](const QString& title, const QString& where, const std::optional<QString>& key) {
            return Call([=](Notify& n) { n.saved(u"c:7"_s, title, where, callPage, key); });
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
            << saved("Design sync", "Brevik", u"2026-11-23_1015"_s) << "session.2026-11-23_1015"
            << "Design sync"
            << "Saved in Brevik" << page;
        QTest::newRow("a saved recording without a folder is named by its call, its title whole")
            << saved(fiftyChars, "Personal", std::nullopt) << "session.c:7" << fiftyChars
            << "Saved in Personal" << page;
        QTest::newRow("a recording filed in Personal by default points at the board")
            << Call([](Notify& n) { n.filedPersonal(u"Design sync"_s, u"folder"_s); }) << "session.folder"
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

    // Where a click goes: a page of the platform the user is on, else the board's home, else nowhere.
    void target_data() {
        QTest::addColumn<QString>("url"); // empty: none posted
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("home"); // empty: no board
        QTest::addColumn<QString>("target");
        const QString base = u"https://orvane.app"_s, home = boardHome.toString();
        const QString localPage = u"http://127.0.0.1:7440/app/r/c%3A7"_s;
        row("a board page opens as it stands", callPage.toString(), base, home, callPage.toString());
        row("a page of the local platform opens on its own scheme", localPage, "http://127.0.0.1:7440", home,
            localPage);
        row("a foreign site opens the board home", "https://orvane.app.example.com/app", base, home, home);
        row("plain http to the platform opens the board home", "http://orvane.app/app", base, home, home);
        row("a legacy workspace server opens the board home", "https://brevik.orvane.app/#/board", base, home,
            home);
        row("no url opens the board home", "", base, home, home);
        row("no url and no board opens nothing", "", base, "", "");
    }
    void target() {
        QFETCH(QString, url);
        QFETCH(QString, base);
        QFETCH(QString, home);
        QFETCH(QString, target);
        QVariantMap userInfo;
        if (!url.isEmpty()) userInfo.insert(Notify::urlKey, url);
        const auto none = [](const QString& text) {
            return text.isEmpty() ? std::nullopt : std::optional(QUrl(text));
        };
        QCOMPARE(Notify::target(userInfo, base, none(home)), none(target));
    }
};

QTEST_GUILESS_MAIN(TestNotify)
#include "tst_notify.moc"
