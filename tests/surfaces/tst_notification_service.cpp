#include "RequiredServices.h"
#include "fakes/FakeBrowser.h"
#include "fakes/SettingsFixture.h"
#include "os/linux/FreedesktopNotifications.h"
#include "surfaces/Notify.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QTest>

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

const QString serverConnection = QStringLiteral("notification-server");
const QUrl callPage(QStringLiteral("https://orvane.app/app/p/brevik/#/library/call/c%3A7"));

} // namespace

// Notifications over the real session bus, to a stand-in notification daemon on a second connection.
class TestNotificationService : public QObject {
    Q_OBJECT
    std::unique_ptr<NotificationServer> m_server;
    std::unique_ptr<SettingsFixture> m_fixture;
    FakeBrowser m_browser;

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
        m_browser.opened.clear();
        backendWarnings.clear();
    }
    void cleanup() {
        m_server.reset();
        QDBusConnection::disconnectFromBus(serverConnection);
    }

    void clickOnAPostedNotificationOpensItsPage() {
        startServer();
        FreedesktopNotifications center;
        QVERIFY(center.available());
        Notify notify(center, m_browser, m_fixture->settings);
        notify.setup({});
        QVERIFY(notify.enabled());

        notify.saved(QStringLiteral("c:7"), QStringLiteral("Design sync"), QStringLiteral("Brevik"), callPage,
                     QStringLiteral("2026-11-23_1015"));
        QVERIFY(QTest::qWaitFor([&] { return m_server->calls.size() == 1; }, 5000));
        const NotificationServer::Call call = m_server->calls.first();
        QCOMPARE(call.appName, QStringLiteral("Orvane"));
        QCOMPARE(call.replacesId, 0u);
        QCOMPARE(call.summary, QStringLiteral("Design sync"));
        QCOMPARE(call.body, QStringLiteral("Saved in Brevik"));
        QCOMPARE(call.actions.value(0), QStringLiteral("default"));
        QCOMPARE(call.actions.size(), 2);
        QCOMPARE(call.hints.value(QStringLiteral("desktop-entry")).toString(),
                 QStringLiteral("app.orvane.Orvane"));

        m_server->emitSignal(QStringLiteral("ActionInvoked"), {41u, QStringLiteral("default")});
        QVERIFY(QTest::qWaitFor([&] { return !m_browser.opened.isEmpty(); }, 5000));
        QCOMPARE(m_browser.opened, QList<QUrl>{callPage});

        // The same recording again replaces the notification on screen instead of adding a second one.
        notify.saved(QStringLiteral("c:7"), QStringLiteral("Design sync"), QStringLiteral("Personal"),
                     callPage, QStringLiteral("2026-11-23_1015"));
        QVERIFY(QTest::qWaitFor([&] { return m_server->calls.size() == 2; }, 5000));
        QCOMPARE(m_server->calls.last().replacesId, 41u);
    }

    void signalsAboutOtherNotificationsAreIgnored() {
        startServer();
        FreedesktopNotifications center;
        Notify notify(center, m_browser, m_fixture->settings);
        notify.setup({});
        notify.reviewReady(QStringLiteral("c:1"), QStringLiteral("Closed by the user"), 0,
                           QUrl(QStringLiteral("https://orvane.app/app/r/c%3A1")));
        notify.filedPersonal(QStringLiteral("Snoozed"), QStringLiteral("folder"));
        notify.saved(QStringLiteral("c:7"), QStringLiteral("Clicked"), QStringLiteral("Brevik"), callPage,
                     {});
        QVERIFY(QTest::qWaitFor([&] { return m_server->calls.size() == 3; }, 5000));

        m_server->emitSignal(QStringLiteral("NotificationClosed"), {41u, 2u});
        m_server->emitSignal(QStringLiteral("ActionInvoked"), {41u, QStringLiteral("default")});
        m_server->emitSignal(QStringLiteral("ActionInvoked"),
                             {7u, QStringLiteral("default")}); // another app's
        m_server->emitSignal(QStringLiteral("ActionInvoked"), {42u, QStringLiteral("snooze")});
        m_server->emitSignal(QStringLiteral("ActionInvoked"), {43u, QStringLiteral("default")});
        // The bus keeps the order of one sender's signals: once the last click is in, the others were seen.
        QVERIFY(QTest::qWaitFor([&] { return m_browser.opened.contains(callPage); }, 5000));
        QCOMPARE(m_browser.opened, QList<QUrl>{callPage});
    }

    void withoutAServicePostsAreLoggedAndDropped() {
        FreedesktopNotifications center;
        QVERIFY(!center.available());
        Notify notify(center, m_browser, m_fixture->settings);
        notify.setup({});
        QVERIFY(!notify.enabled());

        // The backend itself, asked anyway, logs the refusal and stays usable.
        center.post({QStringLiteral("session.x"), QStringLiteral("Title"), QStringLiteral("Body"), {}});
        QVERIFY(QTest::qWaitFor([&] { return !backendWarnings.isEmpty(); }, 5000));
        QVERIFY2(backendWarnings.first().contains(QLatin1String("Notify session.x failed")),
                 qPrintable(backendWarnings.first()));
        QVERIFY(backendWarnings.first().contains(QLatin1String("org.freedesktop.DBus.Error.ServiceUnknown")));
        QVERIFY(m_browser.opened.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestNotificationService)
#include "tst_notification_service.moc"
