#include "board/AppSession.h"
#include "board/DeepLink.h"
#include "board/SessionLinks.h"
#include "board/WebHosts.h"
#include "board/window/Board.h"
#include "board/window/DockPolicy.h"
#include "fakes/SettingsFixture.h"
#include "support/Await.h"
#include "support/LocalPlatform.h"

#include <QJsonObject>
#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
const QString platform = u"https://orvane.app"_s;
const QString local = u"http://127.0.0.1:7440"_s;
} // namespace

// Which addresses the board keeps, how links of the app's scheme map to its pages, and the small rules of
// the window, on the public platform and on a local one.
class TestWebLinks : public QObject {
    Q_OBJECT
private slots:
    void deepLinks_data() {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("page"); // empty: refused
        const auto row = [](const char* name, const QString& link, const QString& base, const QString& page) {
            QTest::newRow(name) << link << base << page;
        };
        for (const char* form : {"orvane://board", "orvane:board", "orvane:///board", "ORVANE://board/"})
            row(form, QString::fromLatin1(form), platform, platform + u"/app"_s);
        row("app is the board home too", u"orvane://app"_s, platform, platform + u"/app"_s);
        row("a project", u"orvane://p/brevik"_s, platform, platform + u"/app/p/brevik/#/board"_s);
        row("a project's board", u"orvane://p/brevik/board"_s, platform,
            platform + u"/app/p/brevik/#/board"_s);
        row("a card's id is encoded", u"orvane://p/brevik/card/t:42"_s, platform,
            platform + u"/app/p/brevik/#/board?card=t%3A42"_s);
        row("a slug is decoded and encoded again", u"orvane://p/web%20brevik/card/abc"_s, platform,
            platform + u"/app/p/web%20brevik/#/board?card=abc"_s);
        row("a slug keeps its case, keywords do not matter", u"orvane://P/Brevik/CARD/x"_s, platform,
            platform + u"/app/p/Brevik/#/board?card=x"_s);
        row("a recording nobody knows", u"orvane://session/rec:20261031-1"_s, platform,
            platform + u"/app/r/rec%3A20261031-1"_s);
        row("r is a recording too", u"orvane://r/rec:2"_s, platform, platform + u"/app/r/rec%3A2"_s);
        row("links follow a local base", u"orvane://p/brevik/card/t:1"_s, local,
            local + u"/app/p/brevik/#/board?card=t%3A1"_s);
        row("query and fragment play no part", u"orvane://p/brevik?x=1#y"_s, platform,
            platform + u"/app/p/brevik/#/board"_s);
        row("an empty slug is no card", u"orvane://p//card/x"_s, platform, {});
        row("a card without id", u"orvane://p/brevik/card"_s, platform, {});
        row("a foreign host before /app", u"orvane://evil.example.com/app"_s, platform, {});
        row("another scheme", u"https://orvane.app/app"_s, platform, {});
        row("nothing after the scheme", u"orvane://"_s, platform, {});
        row("bad escapes stay as written", u"orvane://p/%zz%c3/card/1"_s, platform,
            platform + u"/app/p/%25zz%25c3/#/board?card=1"_s);
        row("ten thousand characters", u"orvane://p/"_s + QString(10000, u'x'), platform,
            platform + u"/app/p/"_s + QString(10000, u'x') + u"/#/board"_s);
    }
    void deepLinks() {
        QFETCH(QString, link);
        QFETCH(QString, base);
        QFETCH(QString, page);
        const std::optional<DeepLink> parsed = DeepLink::parse(QUrl(link));
        const std::optional<QUrl> web = parsed ? parsed->webURL(base) : std::nullopt;
        QCOMPARE(web ? web->toString(QUrl::FullyEncoded) : QString(), page);
    }

    void knownRecordingAndReverse() {
        const QUrl library(platform + u"/app/p/brevik/#/library/call/rec%3A9"_s);
        const auto known = [&](const QString& id) {
            return id == u"rec:9"_s ? std::optional(library) : std::nullopt;
        };
        QCOMPARE(DeepLink::session(u"rec:9"_s).webURL(platform, known), library);
        QCOMPARE(DeepLink::from(QUrl(platform + u"/app/"_s), platform), QUrl(u"orvane://board"_s));
        QCOMPARE(DeepLink::from(QUrl(platform + u"/app/r/rec%3A9"_s), platform),
                 QUrl(u"orvane://session/rec%3A9"_s));
        QCOMPARE(DeepLink::from(QUrl(u"https://example.com/app"_s), platform), std::nullopt);
    }

    void hosts_data() {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("base");
        QTest::addColumn<bool>("board");
        QTest::addColumn<bool>("stays");
        const auto row = [](const char* name, const QString& url, const QString& base, bool board,
                            bool stays) { QTest::newRow(name) << url << base << board << stays; };
        row("the platform with a path", u"https://orvane.app/app/p/x/"_s, platform, true, true);
        row("its www form", u"https://www.orvane.app/app"_s, local, true, true);
        row("the access team's login", u"https://orvane.cloudflareaccess.com/cdn-cgi/access/login"_s,
            platform, false, true);
        row("blob: stays", u"blob:https://orvane.app/1234"_s, platform, false, true);
        row("about:blank stays", u"about:blank"_s, platform, false, true);
        row("another site goes to the browser", u"https://example.com/"_s, platform, false, false);
        row("a legacy server goes to the browser", u"https://brevik.orvane.app/#/board"_s, platform, false,
            false);
        row("plain http to the platform goes to the browser", u"http://orvane.app/app"_s, platform, false,
            false);
        row("a local board on its own base", u"http://127.0.0.1:7440/app"_s, local, true, true);
        row("a local board under another base", u"http://127.0.0.1:7440/app"_s, platform, false, false);
        row("a look-alike domain", u"https://orvane.app.example.com/app"_s, platform, false, false);
    }
    void hosts() {
        QFETCH(QString, url);
        QFETCH(QString, base);
        QTEST(WebHosts::isBoard(QUrl(url), base), "board");
        QTEST(WebHosts::staysInWindow(QUrl(url), base), "stays");
    }

    void cookies_data() {
        QTest::addColumn<QString>("domain");
        QTest::addColumn<bool>("ours");
        QTest::newRow("the bare domain with a dot") << u".orvane.app"_s << true;
        QTest::newRow("the www host") << u"www.orvane.app"_s << true;
        QTest::newRow("the bare domain") << u"orvane.app"_s << true;
        QTest::newRow("the access team host") << u"orvane.cloudflareaccess.com"_s << true;
        QTest::newRow("the local base's host") << u"127.0.0.1"_s << true;
        QTest::newRow("an unrelated domain") << u"example.com"_s << false;
        QTest::newRow("the bare access login domain") << u".cloudflareaccess.com"_s << false;
        QTest::newRow("another team under it") << u"other.cloudflareaccess.com"_s << false;
        QTest::newRow("a foreign domain that begins with ours") << u"orvane.app.evil.com"_s << false;
    }
    void cookies() {
        QFETCH(QString, domain);
        QTEST(WebHosts::isOrvaneCookie(domain, local), "ours");
    }

    void appSessionAnswers_data() {
        QTest::addColumn<QString>("base");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<AppSession::Result>("result");
        using K = AppSession::Result::Kind;
        const AppSession::Result unusable{K::failed, {}, 200, u"no usable url in the answer"_s};
        QTest::newRow("a relative link is resolved on the base")
            << platform << 200 << QByteArray("{\"url\":\"/auth/app?t=abc\"}")
            << AppSession::Result{K::url, QUrl(u"https://orvane.app/auth/app?t=abc"_s), 200, {}};
        QTest::newRow("an absolute link on the platform stands")
            << platform << 200 << QByteArray("{\"url\":\"https://www.orvane.app/auth/app?t=abc\"}")
            << AppSession::Result{K::url, QUrl(u"https://www.orvane.app/auth/app?t=abc"_s), 200, {}};
        QTest::newRow("a plain-http base takes its own links")
            << local << 200 << QByteArray("{\"url\":\"/auth/app?t=1\"}")
            << AppSession::Result{K::url, QUrl(local + u"/auth/app?t=1"_s), 200, {}};
        QTest::newRow("a foreign host is refused")
            << platform << 200 << QByteArray("{\"url\":\"https://evil.example.com/auth/app?t=abc\"}")
            << unusable;
        QTest::newRow("http on an https platform is refused")
            << platform << 200 << QByteArray("{\"url\":\"http://orvane.app/auth/app?t=abc\"}") << unusable;
        QTest::newRow("an HTML answer has no link")
            << platform << 200 << QByteArray("<html>hi</html>") << unusable;
        QTest::newRow("404 asks for one sign-in")
            << platform << 404 << QByteArray("{\"error\":\"not found\"}")
            << AppSession::Result{K::notYet, {}, 404, {}};
        QTest::newRow("405 too") << platform << 405 << QByteArray()
                                 << AppSession::Result{K::notYet, {}, 405, {}};
        QTest::newRow("401 is a refusal")
            << platform << 401 << QByteArray() << AppSession::Result{K::refused, {}, 401, {}};
        QTest::newRow("anything else failed")
            << platform << 502 << QByteArray() << AppSession::Result{K::failed, {}, 502, u"HTTP 502"_s};
    }
    void appSessionAnswers() {
        QFETCH(QString, base);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QTEST(AppSession::parse(status, body, base), "result");
    }

    // The exchange as the server sees it: the key, the page to land on, and never a cookie of the process.
    void appSessionRequest() {
        LocalPlatform server;
        QVERIFY2(server.isRunning(), qPrintable(server.error()));
        QVERIFY(server.fault({.path = u"/auth/app-session"_s,
                              .status = 200,
                              .body = "{\"url\":\"/auth/app?t=one\"}",
                              .method = u"POST"_s}));
        auto network = API::makeNetwork();
        QNetworkCookie leak("ov_sess", "leak");
        leak.setDomain(u"127.0.0.1"_s);
        network->cookieJar()->insertCookie(leak);
        auto asking = AppSession::request(*network, server.base(), u"acct-key"_s, u"/app/p/x/?a=1"_s);
        const AppSession::Result result = testsupport::await(std::move(asking));
        QCOMPARE(result.kind, AppSession::Result::Kind::url);
        QCOMPARE(result.url, server.url(u"/auth/app?t=one"_s));
        QJsonObject seen;
        for (const QJsonValue& r : server.requests())
            if (r[u"path"_s] == u"/auth/app-session"_s) seen = r.toObject();
        const QJsonObject headers = seen[u"headers"_s].toObject();
        QCOMPARE(headers[u"Authorization"_s].toString(), u"Bearer acct-key"_s);
        QCOMPARE(headers[u"Origin"_s].toString(), server.base());
        QCOMPARE(headers[u"User-Agent"_s].toString(), u"Orvane-mac/1.0"_s);
        QVERIFY2(!headers.contains(u"Cookie"_s), qPrintable(headers[u"Cookie"_s].toString()));
        auto withoutKey = AppSession::request(*network, server.base(), {}, std::nullopt);
        QCOMPARE(testsupport::await(std::move(withoutKey)).text, u"not signed in"_s);
    }

    void pageRules() {
        QCOMPARE(Board::pathAndQuery(QUrl(u"https://orvane.app/app/p/x/?a=1#/board"_s)), u"/app/p/x/?a=1"_s);
        QCOMPARE(Board::pathAndQuery(QUrl(u"https://orvane.app"_s)), u"/"_s);
        QVERIFY(Board::isHomePath(QUrl(u"https://orvane.app/app"_s)));
        QVERIFY(Board::isHomePath(QUrl(u"https://orvane.app/app/"_s)));
        QVERIFY(!Board::isHomePath(QUrl(u"https://orvane.app/app/p/x/#/board"_s)));
        QVERIFY(Board::luminance(*Board::parseCSSColor(u"rgb(7, 8, 11)"_s)) < 0.5);
        QVERIFY(Board::luminance(*Board::parseCSSColor(u"rgb(251, 251, 250)"_s)) > 0.5);
        QCOMPARE(Board::parseCSSColor(u"rgba(0, 0, 0, 0)"_s), std::nullopt);
        QCOMPARE(Board::parseCSSColor(u"rgba(10, 20, 30, 0.9)"_s), QColor(10, 20, 30));
        QCOMPARE(Board::parseCSSColor(u"transparent"_s), std::nullopt);
        QVERIFY(Board::failurePage(local, u"<script>"_s).contains(u"&lt;script>"_s));
        QVERIFY(Board::failurePage(local, {}).contains(u"Can\u2019t reach 127.0.0.1"_s));
        using DockPolicy::Policy;
        QCOMPARE(DockPolicy::change(Policy::accessory, true), Policy::regular);
        QCOMPARE(DockPolicy::change(Policy::regular, false), Policy::accessory);
        QCOMPARE(DockPolicy::change(Policy::regular, true), std::nullopt);
        QCOMPARE(DockPolicy::change(Policy::accessory, false), std::nullopt);
    }

    void uniqueFiles() {
        QTemporaryDir dir;
        const auto touch = [&](const QString& name) { QFile(dir.filePath(name)).open(QIODevice::WriteOnly); };
        QCOMPARE(Board::uniqueFile(dir.path(), u"notes.pdf"_s), dir.filePath(u"notes.pdf"_s));
        touch(u"notes.pdf"_s);
        QCOMPARE(Board::uniqueFile(dir.path(), u"notes.pdf"_s), dir.filePath(u"notes 2.pdf"_s));
        touch(u"notes 2.pdf"_s);
        QCOMPARE(Board::uniqueFile(dir.path(), u"notes.pdf"_s), dir.filePath(u"notes 3.pdf"_s));
        // A download still running holds its name.
        QCOMPARE(Board::uniqueFile(dir.path(), u"notes.pdf"_s, {dir.filePath(u"notes 3.pdf"_s)}),
                 dir.filePath(u"notes 4.pdf"_s));
        touch(u"README"_s);
        QCOMPARE(Board::uniqueFile(dir.path(), u"README"_s), dir.filePath(u"README 2"_s));
    }

    void sessionLinks() {
        SettingsFixture fixture;
        SessionLinks links(fixture.settings);
        const QUrl page(platform + u"/app/p/brevik/#/library/call/rec%3A9"_s);
        links.remember(u"rec:9"_s, page);
        for (int i = 0; i < SessionLinks::limit; ++i)
            links.remember(u"rec:%1"_s.arg(i + 100), QUrl(platform + u"/app/r/%1"_s.arg(i)));
        QCOMPARE(links.link(u"rec:9"_s), std::nullopt); // the oldest went past the limit
        links.remember(u"rec:150"_s, page);
        QCOMPARE(links.link(u"rec:150"_s), page);
        const QString stored = fixture.store.value(SessionLinks::key).toString();
        QCOMPARE(stored.count(u"\"rec:150\""_s), 1);
        QCOMPARE(stored.count(u"[\"rec:"_s), SessionLinks::limit);

        fixture.store.setValue(SessionLinks::key, u"{not json"_s);
        QCOMPARE(links.link(u"rec:150"_s), std::nullopt);
        fixture.settings.setLastFiled(FiledRef{u"rec:7"_s, u"Standup"_s, FiledRef::personal, {}});
        QCOMPARE(links.link(u"rec:7"_s), QUrl(platform + u"/app/r/rec%3A7"_s));
        QCOMPARE(links.link(u"rec:8"_s), std::nullopt);
        links.remember(u"rec:1"_s, page);
        QCOMPARE(links.link(u"rec:1"_s), page);
    }
};

QTEST_MAIN(TestWebLinks)
#include "tst_web_links.moc"
