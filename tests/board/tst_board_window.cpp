#include "../RequiredServices.h"
#include "board/window/Board.h"
#include "core/Keychain.h"
#include "fakes/FakeBrowser.h"
#include "fakes/MemorySecretStore.h"
#include "server/Settings.h"
#include "support/LocalPlatform.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QWebEnginePage>
#include <QWebEngineView>
#include <csignal>

using namespace Qt::StringLiterals;

namespace {

constexpr int deadline = 30000;

// The requests of one method and path the platform has seen.
int count(LocalPlatform& platform, const QString& method, const QString& path) {
    int n = 0;
    for (const QJsonValue& r : platform.requests())
        if (r[u"method"_s] == method && r[u"path"_s].toString() == path) ++n;
    return n;
}

qint64 parentOf(qint64 pid) {
    QFile stat(u"/proc/%1/stat"_s.arg(pid));
    if (!stat.open(QIODevice::ReadOnly)) return 0;
    const QByteArray text = stat.readAll();
    // The name in parentheses may hold blanks: the fields after it are what counts.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return fields.size() > 1 ? fields[1].toLongLong() : 0;
}

// The engine's renderer processes that descend from this test (through the engine's zygote).
QList<qint64> engineChildren() {
    QList<qint64> found;
    const qint64 self = QCoreApplication::applicationPid();
    for (const QString& pid : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        QFile cmd(u"/proc/%1/cmdline"_s.arg(pid));
        if (!cmd.open(QIODevice::ReadOnly) || !cmd.readAll().contains("--type=renderer")) continue;
        for (qint64 up = parentOf(pid.toLongLong()); up > 1; up = parentOf(up))
            if (up == self) {
                found << pid.toLongLong();
                break;
            }
    }
    return found;
}

} // namespace

// The board window with the real web engine on the X server, against the local platform's web side: the
// one-time login, links, the window's rules for other sites, failures and the account's sign-out.
class TestBoardWindow : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;
    QTemporaryDir m_dir;
    MemorySecretStore m_secrets;
    std::unique_ptr<Keychain> m_keychain;
    std::unique_ptr<QSettings> m_store;
    std::unique_ptr<QNetworkAccessManager> m_network;
    std::unique_ptr<Settings> m_settings;
    FakeBrowser m_browser;
    QDateTime m_now = QDateTime::currentDateTimeUtc();
    std::unique_ptr<Board> m_board;

    void makeBoard() {
        m_board = std::make_unique<Board>(Board::Inputs{
            *m_settings, m_browser, *m_network, [this] { return m_now; }, m_dir.filePath(u"board"_s)});
    }
    // Waits for a page of the board whose address ends as given.
    bool landsOn(const QString& ending) {
        return QTest::qWaitFor(
            [&] {
                const auto url = m_board->currentURL();
                return url && url->toString(QUrl::FullyEncoded).endsWith(ending) &&
                       m_board->window()->findChild<QWebEngineView*>()->page()->isLoading() == false;
            },
            deadline);
    }
    bool cookieFileHolds(const QByteArray& name) {
        QFile file(m_dir.filePath(u"board/Cookies"_s));
        return file.open(QIODevice::ReadOnly) && file.readAll().contains(name);
    }
    QWebEnginePage* page() { return m_board->window()->findChild<QWebEngineView*>()->page(); }
    void click(const QString& id) {
        page()->runJavaScript(u"document.getElementById('%1').click()"_s.arg(id));
    }

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY"), "an X display");
        qputenv("HOME", m_dir.filePath(u"home"_s).toUtf8());
        QDir().mkpath(m_dir.filePath(u"home/Downloads"_s));
    }

    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
        QDir(m_dir.filePath(u"board"_s)).removeRecursively();
        m_keychain = std::make_unique<Keychain>(m_secrets, u"svc"_s);
        m_store = std::make_unique<QSettings>(m_dir.filePath(u"orvane.conf"_s), QSettings::IniFormat);
        m_store->clear();
        m_network = API::makeNetwork();
        m_settings = std::make_unique<Settings>(*m_store, *m_keychain, *m_network);
        m_settings->setPlatformBase(m_platform->base());
        m_settings->signIn(u"dev-key"_s, u"dev@orvane.test"_s, std::nullopt);
        m_browser.opened.clear();
        makeBoard();
    }
    void cleanup() { m_board.reset(); }

    // The first open trades the key once and lands on the board home with a web session; a card link then
    // needs no second exchange, and two navigations while an exchange runs make one request.
    void theKeyBecomesAWebSessionOnce() {
        m_board->show(std::nullopt);
        QVERIFY(landsOn(u"/app"_s));
        QCOMPARE(count(*m_platform, u"POST"_s, u"/auth/app-session"_s), 1);
        QCOMPARE(m_platform->webSessions().size(), 1);
        QCOMPARE(m_platform->webSessions().first()[u"via"_s].toString(), u"app-session"_s);

        m_board->openDeepLink(QUrl(u"orvane://p/brevik/card/t:42"_s));
        QVERIFY(landsOn(u"/app/p/brevik/#/board?card=t%3A42"_s));
        QTRY_COMPARE_WITH_TIMEOUT(m_board->window()->windowTitle(), u"Board brevik #/board?card=t%3A42"_s,
                                  deadline);
        QCOMPARE(count(*m_platform, u"POST"_s, u"/auth/app-session"_s), 1);

        // A new board on the same profile finds the session of the earlier one, once the engine has written
        // it.
        m_board.reset();
        QVERIFY(QTest::qWaitFor([&] { return cookieFileHolds("ov_sess"); }, deadline));
        makeBoard();
        m_board->show(QUrl(m_platform->base() + u"/app/r/rec%3A1"_s));
        QVERIFY(landsOn(u"/app/r/rec%3A1"_s));
        QCOMPARE(count(*m_platform, u"POST"_s, u"/auth/app-session"_s), 1);
    }

    void twoNavigationsDuringOneExchangeMakeOneRequest() {
        QVERIFY(
            m_platform->fault({.path = u"/auth/app-session"_s, .delay = std::chrono::milliseconds(1500)}));
        m_board->show(QUrl(m_platform->base() + u"/app/p/noctal/"_s));
        m_board->show(QUrl(m_platform->base() + u"/app/p/brevik/"_s));
        QVERIFY(landsOn(u"/app/p/noctal/"_s));
        QCOMPARE(count(*m_platform, u"POST"_s, u"/auth/app-session"_s), 1);
    }

    // A platform without the exchange: the user signs in once in the window and lands where the link
    // pointed.
    void withoutTheExchangeTheUserSignsInOnce() {
        QVERIFY(m_platform->fault(
            {.path = u"/auth/app-session"_s, .status = 404, .body = "{\"error\":\"not found\"}"}));
        m_board->show(QUrl(m_platform->base() + u"/app/p/brevik/"_s));
        QVERIFY(QTest::qWaitFor(
            [&] { return m_board->currentURL()->path() == u"/signin"_s && !page()->isLoading(); }, deadline));
        QVERIFY(QTest::qWaitFor([&] { return m_board->window()->isActiveWindow(); }, deadline));
        page()->runJavaScript(u"document.getElementById('email').focus()"_s);
        QCOMPARE(QProcess::execute(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"20"_s, u"dev@orvane.test"_s}),
                 0);
        QCOMPARE(QProcess::execute(u"xdotool"_s, {u"key"_s, u"Tab"_s}), 0);
        QCOMPARE(QProcess::execute(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"20"_s, u"secret"_s}), 0);
        QCOMPARE(QProcess::execute(u"xdotool"_s, {u"key"_s, u"Return"_s}), 0);
        QVERIFY(landsOn(u"/app/p/brevik/"_s));
        QCOMPARE(m_platform->webSessions().first()[u"via"_s].toString(), u"form"_s);
    }

    // Other sites go to the browser, pop-ups never get a window, and the app's own links stay inside.
    void whatIsNotTheBoardLeavesTheWindow() {
        m_board->show(std::nullopt);
        QVERIFY(landsOn(u"/app"_s));
        QSignalSpy handed(m_board.get(), &Board::handedToBrowser);
        click(u"foreign"_s);
        QVERIFY(handed.wait(deadline));
        click(u"popup-foreign"_s);
        QVERIFY(handed.wait(deadline));
        QCOMPARE(m_browser.opened, (QList<QUrl>{QUrl(u"https://example.com/elsewhere"_s),
                                                QUrl(u"https://example.com/popup"_s)}));
        QVERIFY(m_board->currentURL()->path() == u"/app"_s);
        click(u"popup-board"_s);
        QVERIFY(landsOn(u"/app/p/brevik/"_s));
        click(u"deeplink"_s);
        QVERIFY(landsOn(u"/app/p/noctal/#/board"_s));
        int windows = 0;
        for (QWidget* w : QApplication::topLevelWidgets())
            windows += w->isVisible() ? 1 : 0;
        QCOMPARE(windows, 1);
    }

    // Downloads land in Downloads under a name of their own; one cut short is only logged.
    void downloadsLandInDownloads() {
        const QString downloads = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
        QFile(downloads + u"/notes.pdf"_s).open(QIODevice::WriteOnly);
        m_board->show(std::nullopt);
        QVERIFY(landsOn(u"/app"_s));
        QSignalSpy finished(m_board.get(), &Board::downloadFinished);
        click(u"download"_s);
        QVERIFY(finished.wait(deadline));
        QCOMPARE(finished.last(), (QVariantList{downloads + u"/notes 2.pdf"_s, true}));
        QVERIFY(QFileInfo(downloads + u"/notes 2.pdf"_s).size() > 0);
        click(u"download-cut"_s);
        QVERIFY(finished.wait(deadline));
        QCOMPARE(finished.last().at(1).toBool(), false);
    }

    // A dead renderer comes back on its page; a platform that does not answer shows the inline page, and
    // Ctrl+R goes back to what was asked for.
    void failuresRecover() {
        m_board->show(std::nullopt);
        QVERIFY(landsOn(u"/app"_s));
        QSignalSpy finished(m_board.get(), &Board::pageFinished);
        const QList<qint64> renderers = engineChildren();
        QVERIFY(!renderers.isEmpty());
        for (qint64 pid : renderers)
            ::kill(pid_t(pid), SIGKILL);
        QVERIFY(
            QTest::qWaitFor([&] { return !finished.isEmpty() && finished.last().at(1).toBool(); }, deadline));
        QCOMPARE(m_board->currentURL()->path(), u"/app"_s);

        m_board->signedOut(); // no exchange on the way: the failure is the page's own
        m_settings->setPlatformBase(u"http://127.0.0.1:9"_s);
        m_board->openDeepLink(QUrl(u"orvane://board"_s));
        QVERIFY(QTest::qWaitFor(
            [&] { return m_board->currentURL()->scheme() == u"data"_s && !page()->isLoading(); }, deadline));
        QString text;
        page()->toPlainText([&](const QString& t) { text = t; });
        QVERIFY(QTest::qWaitFor([&] { return text.contains(u"Press Ctrl+R to try again."_s); }, deadline));
        QVERIFY(text.contains(u"Can\u2019t reach 127.0.0.1"_s));
        m_settings->setPlatformBase(m_platform->base());
        m_board->openDeepLink(QUrl(u"orvane://board"_s));
        QVERIFY(landsOn(u"/signin?next=%2Fapp"_s));
    }

    // Signing out of the app ends the web session on the server and clears the platform's cookies only.
    void signingOutOfTheAppSignsTheWindowOut() {
        m_board->show(std::nullopt);
        QVERIFY(landsOn(u"/app"_s));
        QCOMPARE(m_platform->webSessions().size(), 1);
        m_settings->signOut();
        m_board->signedOut();
        QVERIFY(QTest::qWaitFor([&] { return count(*m_platform, u"POST"_s, u"/auth/signout"_s) == 1; },
                                deadline));
        QVERIFY(QTest::qWaitFor([&] { return m_platform->webSessions().isEmpty(); }, deadline));
        QVERIFY(landsOn(u"/signin"_s));
        // Signed out, the board does not trade anything: the sign-in page stays.
        m_board->show(QUrl(m_platform->base() + u"/app/p/brevik/"_s));
        QVERIFY(landsOn(u"/signin?next=/app/p/brevik/"_s));
        QCOMPARE(count(*m_platform, u"POST"_s, u"/auth/app-session"_s), 1);
    }

    void closingEndsTheRenderers() {
        m_board->show(std::nullopt);
        QVERIFY(landsOn(u"/app"_s));
        QSignalSpy closed(m_board.get(), &Board::windowClosed);
        m_board->window()->close();
        QVERIFY(closed.count() == 1 || closed.wait(deadline));
        QVERIFY(!m_board->isOpen());
        QVERIFY(QTest::qWaitFor([] { return engineChildren().isEmpty(); }, deadline));
    }
};

int main(int argc, char** argv) {
    Board::prepareEngine();
    QApplication app(argc, argv);
    TestBoardWindow test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_board_window.moc"
