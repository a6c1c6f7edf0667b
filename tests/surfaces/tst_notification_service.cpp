#include "RequiredServices.h"
#include "fakes/SettingsFixture.h"
#include "os/linux/FreedesktopNotifications.h"
#include "surfaces/Notify.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

using os::FreedesktopNotifications;

// A notification daemon of the test's own: records each Notify call and hands out ids from 41 on.
class NotificationServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    struct Call {
        QString appName;
        uint replacesId;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
    };
    QList<Call> calls;

    explicit NotificationServer(QDBusConnection bus) : m_bus(std::move(bus)) {}

    void emitSignal(const QString& name, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createSignal(FreedesktopNotifications::path,
                                                          FreedesktopNotifications::service, name);
        message.setArguments(arguments);
        m_bus.send(message);
    }

public slots:
    uint Notify(const QString& appName, uint replacesId, const QString&, const QString& summary,
                const QString& body, const QStringList& actions, const QVariantMap& hints, int) {
        calls.append({appName, replacesId, summary, body, actions, hints});
        return replacesId ? replacesId : m_nextId++;
    }

private:
    QDBusConnection m_bus;
    uint m_nextId = 41;
};

// Warnings of the notification backend, as the app's log handler would get them.
QStringList backendWarnings;
QtMessageHandler previousHandler = nullptr;
void recordBackendWarnings(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (context.category == QLatin1String("notifications.dbus")) backendWarnings.append(message);
    previousHandler(type, context, message);
}

const QString serverConnection = u"notification-server"_s;
const QUrl callPage(u"https://orvane.app/app/p/brevik/#/library/call/c%3A7"_s);

} // namespace

// Notifications over the real session bus, to a stand-in notification daemon on a second connection.
class TestNotificationService : public QObject {
    Q_OBJECT
    std::unique_ptr<NotificationServer> m_server;
    std::unique_ptr<SettingsFixture> m_fixture;
    QList<QUrl> m_opened; // pages clicks asked for

    void startServer() {
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, serverConnection);
        m_server = std::make_unique<NotificationServer>(bus);
        QVERIFY(bus.registerObject(FreedesktopNotifications::path, m_server.get(),
                                   QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(FreedesktopNotifications::service));
    }

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(QDBusConnection::sessionBus().isConnected(), "the D-Bus session bus");
        previousHandler = qInstallMessageHandler(recordBackendWarnings);
    }
    void cleanupTestCase() { qInstallMessageHandler(previousHandler); }

    void init() {
        m_fixture = std::make_unique<SettingsFixture>();
        m_opened.clear();
        backendWarnings.clear();
    }
    void cleanup() {
        m_server.reset();
        QDBusConnection::disconnectFromBus(serverConnection);
    }

    void clickOnAPostedNotificationOpensItsPage() {
        startServer();
        FreedesktopNotifications center;
        Notify notify(center, m_fixture->settings);
        connect(&notify, &Notify::pageWanted, this, [this](const QUrl& page) { m_opened << page; });
        notify.setup({});
        QVERIFY(notify.enabled());

        notify.saved(u"c:7"_s, u"Design sync"_s, u"Brevik"_s, callPage, u"2026-11-23_1015"_s);
        QVERIFY(QTest::qWaitFor([&] { return m_server->calls.size() == 1; }, 5000));
        const NotificationServer::Call call = m_server->calls.first();
        QCOMPARE(call.appName, u"Orvane"_s);
        QCOMPARE(call.replacesId, 0u);
        QCOMPARE(call.summary + QLatin1Char('/') + call.body, u"Design sync/Saved in Brevik"_s);
        QCOMPARE(call.actions.value(0), u"default"_s);
        QCOMPARE(call.hints.value(u"desktop-entry"_s).toString(), u"app.orvane.Orvane"_s);

        m_server->emitSignal(u"ActionInvoked"_s, {41u, u"default"_s});
        QVERIFY(QTest::qWaitFor([&] { return !m_opened.isEmpty(); }, 5000));
        QCOMPARE(m_opened, QList<QUrl>{callPage});
        // A later link to the recording opens the page its notification named.
        QCOMPARE(SessionLinks(m_fixture->settings).link(u"c:7"_s), callPage);

        // The same recording again replaces the notification on screen instead of adding a second one.
        notify.saved(u"c:7"_s, u"Design sync"_s, u"Personal"_s, callPage, u"2026-11-23_1015"_s);
        QVERIFY(QTest::qWaitFor([&] { return m_server->calls.size() == 2; }, 5000));
        QCOMPARE(m_server->calls.last().replacesId, 41u);
    }

    void signalsAboutOtherNotificationsAreIgnored() {
        startServer();
        FreedesktopNotifications center;
        Notify notify(center, m_fixture->settings);
        connect(&notify, &Notify::pageWanted, this, [this](const QUrl& page) { m_opened << page; });
        notify.setup({});
        notify.reviewReady(u"c:1"_s, u"Closed by the user"_s, 0, QUrl(u"https://orvane.app/app/r/c%3A1"_s));
        notify.filedPersonal(u"Snoozed"_s, u"folder"_s);
        notify.saved(u"c:7"_s, u"Clicked"_s, u"Brevik"_s, callPage, {});
        QVERIFY(QTest::qWaitFor([&] { return m_server->calls.size() == 3; }, 5000));

        m_server->emitSignal(u"NotificationClosed"_s, {41u, 2u});
        m_server->emitSignal(u"ActionInvoked"_s, {41u, u"default"_s});
        m_server->emitSignal(u"ActionInvoked"_s, {7u, u"default"_s}); // another app's
        m_server->emitSignal(u"ActionInvoked"_s, {42u, u"snooze"_s});
        m_server->emitSignal(u"ActionInvoked"_s, {43u, u"default"_s});
        // The bus keeps the order of one sender's signals: once the last click is in, the others were seen.
        QVERIFY(QTest::qWaitFor([&] { return m_opened.contains(callPage); }, 5000));
        QCOMPARE(m_opened, QList<QUrl>{callPage});
    }

    void withoutAServicePostsAreLoggedAndDropped() {
        FreedesktopNotifications center;
        QVERIFY(!center.available());
        Notify notify(center, m_fixture->settings);
        connect(&notify, &Notify::pageWanted, this, [this](const QUrl& page) { m_opened << page; });
        notify.setup({});
        QVERIFY(!notify.enabled());

        // The backend itself, asked anyway, logs the refusal and stays usable.
        center.post({u"session.x"_s, u"Title"_s, u"Body"_s, {}});
        QVERIFY(QTest::qWaitFor([&] { return !backendWarnings.isEmpty(); }, 5000));
        QVERIFY2(backendWarnings.first().contains(QLatin1String("session.x")),
                 qPrintable(backendWarnings.first()));
        QVERIFY(m_opened.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestNotificationService)
#include "tst_notification_service.moc"
