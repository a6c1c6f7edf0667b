#include "RequiredServices.h"
#include "app/Account.h"
#include "core/Keychain.h"
#include "fakes/RecordingNudgeDisplay.h"
#include "os/linux/Backends.h"
#include "server/Settings.h"
#include "support/Files.h"
#include "support/LocalPlatform.h"
#include "support/Rows.h"
#include "surfaces/DesktopBrowser.h"
#include "surfaces/Nudges.h"
#include "surfaces/SettingsAccount.h"
#include "surfaces/SettingsLegacy.h"
#include "surfaces/SettingsView.h"
#include "surfaces/design/OVToggle.h"

#include <QApplication>
#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using testsupport::row;

namespace {

// The window as the program wires it, against a local platform: the account flow with its sign-in, keys in
// the desktop's Secret Service (under a service of this run's own), and a browser that only logs the page
// as ORVANE_NO_BROWSER=1 makes it.
struct Desk {
    QTemporaryDir dir;
    std::unique_ptr<os::SecretStore> secrets =
        os::linux_backends::makeSecretStore(dir.filePath(u"secrets.json"_s));
    QString service = u"orvane.test.settings.%1"_s.arg(QCoreApplication::applicationPid());
    Keychain keychain{*secrets, service};
    QSettings store{dir.filePath(u"orvane.conf"_s), QSettings::IniFormat};
    std::unique_ptr<QNetworkAccessManager> network = API::makeNetwork();
    Settings settings{store, keychain, *network};
    DesktopBrowser browser{DesktopBrowser::Mode::logOnly, u"sign-in: would open "_s};
    Nudges nudges{std::make_unique<RecordingNudgeDisplay>()};
    Account account{{settings, nudges, browser}};
    std::unique_ptr<SettingsView> view;

    explicit Desk(const QString& base) {
        settings.setPlatformBase(base);
        view = std::make_unique<SettingsView>(SettingsView::Needs{settings, account.signIn(), browser, [] {},
                                                                  [this] { account.signOut(); },
                                                                  [this] { account.refreshAccount(); }});
    }
    ~Desk() {
        secrets->remove(service, Keychain::accountItem);
        for (const Workspace& w : settings.workspaces())
            secrets->remove(service, w.id.toString(QUuid::WithoutBraces).toUpper());
    }
    QAbstractButton* button(const QString& text) const {
        for (QAbstractButton* b : view->findChildren<QAbstractButton*>())
            if (b->text() == text && b->isVisibleTo(view.get())) return b;
        return nullptr;
    }
    QStringList accountTexts() const {
        QStringList out;
        for (const QLabel* label : view->account().findChildren<QLabel*>())
            out.append(label->text());
        return out;
    }
    bool shows(const QString& text) const { return accountTexts().contains(text); }
    QString code() const { return view->account().face().code; }
    bool keyStored() const {
        return secrets->find(service, Keychain::accountItem).status == os::SecretLookup::Found;
    }
};

int requestsTo(LocalPlatform& platform, const QString& path) {
    const QJsonArray log = platform.requests();
    return int(std::count_if(log.begin(), log.end(), [&](const QJsonValue& r) {
        return r.toObject().value(QLatin1String("path")).toString() == path;
    }));
}

} // namespace

// The settings window over real HTTP to the local platform, with the test environment's Secret Service and X
// clipboard.
class TestSettingsPlatform : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(QGuiApplication::platformName() == QLatin1String("xcb"), "an X server");
    }
    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
    }
    void cleanup() { m_platform.reset(); }

    // From the button to the projects with no click after the approval; the code on the X clipboard.
    void anApprovalTurnsTheWindowToTheAccountByItself() {
        Desk desk(m_platform->base());
        const testsupport::LogWatch log;
        desk.button(u"Sign in to Orvane"_s)->click();
        QTRY_VERIFY_WITH_TIMEOUT(!desk.code().isEmpty(), 15000);
        QVERIFY(desk.shows(desk.code()));
        QVERIFY(log.text().contains(
            u"sign-in: would open %1/app/device?code=%2"_s.arg(m_platform->base(), desk.code())));
        // ORVANE_NO_BROWSER opens nothing: the address shows, to be copied by hand.
        QVERIFY(desk.shows(u"%1/app/device?code=%2"_s.arg(m_platform->base(), desk.code())));

        desk.button(u"Copy"_s)->click();
        QProcess xclip;
        xclip.start(u"xclip"_s, {u"-o"_s, u"-selection"_s, u"clipboard"_s});
        // The clipboard is served by this process's event loop while xclip reads it.
        QVERIFY(QTest::qWaitFor([&] { return xclip.state() == QProcess::NotRunning; }, 10000));
        QCOMPARE(QString::fromUtf8(xclip.readAllStandardOutput()), desk.code());

        QVERIFY(m_platform->approve(desk.code()));
        QTRY_VERIFY_WITH_TIMEOUT(desk.shows(u"Signed in as Dev"_s), 15000);
        QTRY_VERIFY_WITH_TIMEOUT(desk.shows(u"Brevik"_s) && desk.shows(u"Noctal"_s), 15000);
        QVERIFY(desk.shows(u"Server: 127.0.0.1 (testing)"_s));
        QTRY_VERIFY_WITH_TIMEOUT(desk.keyStored(), 10000);
    }

    void aSignInThatEndsBadlySaysSoInPlace_data() {
        QTest::addColumn<QString>("ending");
        QTest::addColumn<QString>("text");
        row("denied in the browser", u"deny"_s, u"The sign-in was declined in the browser."_s);
        row("the code expired", u"expire"_s, u"The code expired. Click Sign in to get a new one."_s);
    }
    void aSignInThatEndsBadlySaysSoInPlace() {
        QFETCH(QString, ending);
        QFETCH(QString, text);
        Desk desk(m_platform->base());
        desk.button(u"Sign in to Orvane"_s)->click();
        QTRY_VERIFY_WITH_TIMEOUT(!desk.code().isEmpty(), 15000);
        if (ending == u"deny"_s)
            QVERIFY(m_platform->deny(desk.code()));
        else
            QVERIFY(m_platform->fault({u"/device/poll"_s, 200, R"({"status":"expired"})"}));
        QTRY_VERIFY_WITH_TIMEOUT(desk.shows(text), 15000);
        QVERIFY(desk.button(u"Sign in to Orvane"_s)); // the way to try again
        QVERIFY(!desk.keyStored());
    }

    // A cancel stores nothing, even of an approval that came just before it: checked once a new sign-in has
    // polled, later than the cancelled one would have.
    void cancelStoresNoKey() {
        Desk desk(m_platform->base());
        desk.button(u"Sign in to Orvane"_s)->click();
        QTRY_VERIFY_WITH_TIMEOUT(!desk.code().isEmpty(), 15000);
        QVERIFY(m_platform->approve(desk.code()));
        desk.button(u"Cancel"_s)->click();
        QVERIFY(desk.button(u"Sign in to Orvane"_s));
        const int polls = requestsTo(*m_platform, u"/device/poll"_s);
        desk.button(u"Sign in to Orvane"_s)->click();
        QTRY_VERIFY_WITH_TIMEOUT(requestsTo(*m_platform, u"/device/poll"_s) > polls, 15000);
        QVERIFY(!desk.settings.signedIn());
        QVERIFY(!desk.keyStored());
    }

    void theTestOfALegacyKeySaysWhatTheServerAnswered_data() {
        QTest::addColumn<QString>("server"); // after the platform's base; a full address to refuse
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("result");
        row("a good key", u"/legacy/local"_s, u" legacy-key\n"_s, u"\u2713 Connected as "_s);
        row("a key the server refuses", u"/legacy/local"_s, u"wrong"_s, u"(HTTP 401)"_s);
        row("a port nobody listens on", u"http://127.0.0.1:9"_s, u"legacy-key"_s, u"refused"_s);
    }
    void theTestOfALegacyKeySaysWhatTheServerAnswered() {
        QFETCH(QString, server);
        QFETCH(QString, key);
        QFETCH(QString, result);
        Desk desk(m_platform->base());
        LegacySection* legacy = desk.view->legacy();
        desk.view->findChild<QAbstractButton*>(u"add"_s)->click();
        auto* serverField = desk.view->findChild<QLineEdit*>(u"server"_s);
        serverField->setText(server.startsWith('/') ? m_platform->base() + server : server);
        emit serverField->editingFinished();
        auto* keyField = desk.view->findChild<QLineEdit*>(u"key"_s);
        keyField->setText(key);
        QAbstractButton* test = desk.button(u"Test"_s);
        test->click();
        QVERIFY(!test->isEnabled()); // one test at a time
        auto* shown = desk.view->findChild<QLabel*>(u"result"_s);
        QTRY_VERIFY_WITH_TIMEOUT(test->isEnabled(), 15000);
        QVERIFY2(shown->text().contains(result), qPrintable(shown->text()));
        QVERIFY(legacy->selected());
    }

    // A server that hangs during the test leaves the window usable; closing it drops the answer.
    void aHangingTestKeepsTheWindowUsable() {
        Desk desk(m_platform->base());
        QVERIFY(m_platform->fault({u"/legacy/local/api/me"_s, 0, {}, {}, {}, 1500ms}));
        desk.view->findChild<QAbstractButton*>(u"add"_s)->click();
        auto* serverField = desk.view->findChild<QLineEdit*>(u"server"_s);
        serverField->setText(m_platform->base() + u"/legacy/local"_s);
        emit serverField->editingFinished();
        desk.view->findChild<QLineEdit*>(u"key"_s)->setText(u"legacy-key"_s);
        desk.button(u"Test"_s)->click();
        QTRY_COMPARE_WITH_TIMEOUT(requestsTo(*m_platform, u"/legacy/local/api/me"_s), 1, 10000);
        desk.button(u"Auto-pin slide and page changes (at most one every 2 min)"_s)->click();
        QVERIFY(!desk.settings.autoPin());
        QSignalSpy answered(desk.network.get(), &QNetworkAccessManager::finished);
        desk.view.reset();
        QVERIFY(answered.wait(10000)); // the answer arrives to a window that is gone
    }
};

QTEST_MAIN(TestSettingsPlatform)
#include "tst_settings_platform.moc"
