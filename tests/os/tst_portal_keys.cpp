#include "os/linux/PortalHotKeySource.h"
#include "support/Files.h"
#include "support/Rows.h"
#include "surfaces/HotKeys.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <QMutex>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <atomic>

using namespace Qt::StringLiterals;
using testsupport::row;

namespace {

const QString desktopPath = u"/org/freedesktop/portal/desktop"_s;
const QString shortcutsInterface = u"org.freedesktop.portal.GlobalShortcuts"_s;

// The portal's a(sa{sv}) as the desktop's side reads and writes it, apart from the program's own.
struct Shortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& out, const Shortcut& shortcut) {
    out.beginStructure();
    out << shortcut.id << shortcut.properties;
    out.endStructure();
    return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, Shortcut& shortcut) {
    in.beginStructure();
    in >> shortcut.id >> shortcut.properties;
    in.endStructure();
    return in;
}

// What the desktop saw of the program, read by the test while the desktop's thread writes it.
struct Seen {
    mutable QMutex mutex;
    QString session;
    QList<Shortcut> bound;
    int binds = 0;

    QString sessionNow() const {
        QMutexLocker lock(&mutex);
        return session;
    }
    QList<Shortcut> boundNow() const {
        QMutexLocker lock(&mutex);
        return bound;
    }
    int bindsNow() const {
        QMutexLocker lock(&mutex);
        return binds;
    }
};

// The desktop's GlobalShortcuts portal, as xdg-desktop-portal serves it where a backend has the keys (the
// test environment's has none): sessions and binds answered through Request objects, the bind with
// `bindAnswer` (0 bound, 1 the user said no, 2 ended), as if the user had answered the desktop's question.
class FakePortal : public QDBusVirtualObject {
public:
    FakePortal(Seen& seen, uint bindAnswer) : m_seen(seen), m_bindAnswer(bindAnswer) {}

    QString introspect(const QString&) const override {
        return u"<interface name=\"org.freedesktop.portal.GlobalShortcuts\">"
               "<property name=\"version\" type=\"u\" access=\"read\"/>"
               "<method name=\"CreateSession\"><arg type=\"a{sv}\" direction=\"in\"/>"
               "<arg type=\"o\" direction=\"out\"/></method>"
               "<method name=\"BindShortcuts\"><arg type=\"o\" direction=\"in\"/>"
               "<arg type=\"a(sa{sv})\" direction=\"in\"/><arg type=\"s\" direction=\"in\"/>"
               "<arg type=\"a{sv}\" direction=\"in\"/><arg type=\"o\" direction=\"out\"/></method>"
               "</interface>"_s;
    }

    bool handleMessage(const QDBusMessage& call, const QDBusConnection& bus) override {
        const QList<QVariant> args = call.arguments();
        if (call.member() == u"Get"_s && args.value(0).toString() == shortcutsInterface) {
            bus.send(call.createReply(QVariant::fromValue(QDBusVariant(uint(1)))));
            return true;
        }
        if (call.member() == u"CreateSession"_s && call.signature() == u"a{sv}"_s) {
            const auto options = qdbus_cast<QVariantMap>(args.at(0));
            const QString session = desktopPath + u"/session/"_s + sender(call) + u'/' +
                                    options.value(u"session_handle_token"_s).toString();
            {
                QMutexLocker lock(&m_seen.mutex);
                m_seen.session = session;
            }
            answer(bus, call, options, 0, {{u"session_handle"_s, session}});
            return true;
        }
        if (call.member() == u"BindShortcuts"_s && call.signature() == u"oa(sa{sv})sa{sv}"_s) {
            const auto shortcuts = qdbus_cast<QList<Shortcut>>(args.at(1));
            {
                QMutexLocker lock(&m_seen.mutex);
                if (args.at(0).value<QDBusObjectPath>().path() != m_seen.session) return false;
                m_seen.bound = shortcuts;
                ++m_seen.binds;
            }
            QList<Shortcut> chosen;
            for (Shortcut s : shortcuts) {
                s.properties.insert(u"trigger_description"_s, s.properties.value(u"preferred_trigger"_s));
                chosen.append(s);
            }
            answer(bus, call, qdbus_cast<QVariantMap>(args.at(3)), m_bindAnswer,
                   {{u"shortcuts"_s, QVariant::fromValue(chosen)}});
            return true;
        }
        return false;
    }

private:
    static QString sender(const QDBusMessage& call) { return call.service().mid(1).replace(u'.', u'_'); }
    // The call's reply names its Request object; the answer comes as that object's Response.
    static void answer(const QDBusConnection& bus, const QDBusMessage& call, const QVariantMap& options,
                       uint code, const QVariantMap& results) {
        const QString request =
            desktopPath + u"/request/"_s + sender(call) + u'/' + options.value(u"handle_token"_s).toString();
        QDBusConnection(bus).send(call.createReply(QVariant::fromValue(QDBusObjectPath(request))));
        QDBusMessage response =
            QDBusMessage::createSignal(request, u"org.freedesktop.portal.Request"_s, u"Response"_s);
        response << code << results;
        QDBusConnection(bus).send(response);
    }

    Seen& m_seen;
    const uint m_bindAnswer;
};

// The fake portal on a connection and a thread of its own, as another process on the session bus: the
// program's first question to it waits for the answer.
class PortalDesktop : public QThread {
public:
    static inline const QString connectionName = u"fake-portal"_s;

    explicit PortalDesktop(uint bindAnswer) : m_bindAnswer(bindAnswer) {
        start();
        m_ready.acquire();
    }
    ~PortalDesktop() override {
        quit();
        wait();
    }
    QString service() const { return u"app.orvane.test.Portal%1"_s.arg(QCoreApplication::applicationPid()); }
    bool up() const { return m_up; }
    const Seen& seen() const { return m_seen; }

    // What the desktop sends when the user presses or lets go of a bound key.
    void signal(const QString& name, const QString& session, const QString& id) const {
        QDBusMessage message = QDBusMessage::createSignal(desktopPath, shortcutsInterface, name);
        message << QVariant::fromValue(QDBusObjectPath(session)) << id << qulonglong(0) << QVariantMap();
        QDBusConnection(connectionName).send(message);
    }

protected:
    void run() override {
        {
            FakePortal portal(m_seen, m_bindAnswer);
            QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName);
            m_up = bus.registerVirtualObject(desktopPath, &portal) && bus.registerService(service());
            m_ready.release();
            exec();
            bus.unregisterService(service());
            bus.unregisterObject(desktopPath);
        }
        QDBusConnection::disconnectFromBus(connectionName);
    }

private:
    const uint m_bindAnswer;
    Seen m_seen;
    std::atomic<bool> m_up = false;
    QSemaphore m_ready;
};

const os::KeyCombination ctrlAltR{'r', os::KeyCombination::ctrl | os::KeyCombination::alt};
const os::KeyCombination ctrlAltP{'p', os::KeyCombination::ctrl | os::KeyCombination::alt};
const os::KeyCombination ctrlAltSpace{' ', os::KeyCombination::ctrl | os::KeyCombination::alt};

// The desktop's Activated signals as the test's own connection hears them, after every receiver that
// listened before it.
class Heard : public QObject {
    Q_OBJECT
public:
    explicit Heard(const QString& service) {
        QDBusConnection::sessionBus().connect(service, desktopPath, shortcutsInterface, u"Activated"_s, this,
                                              SLOT(take(QDBusMessage)));
    }
    int count = 0;

public slots:
    void take(const QDBusMessage&) { ++count; }
};

} // namespace

Q_DECLARE_METATYPE(Shortcut)

// The GlobalShortcuts portal's protocol, against a portal on the test's session bus: what is bound, which key
// a desktop's signal reaches, and what a refusal does.
class TestPortalKeys : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY2(QDBusConnection::sessionBus().isConnected(), "no session bus");
        qDBusRegisterMetaType<Shortcut>();
        qDBusRegisterMetaType<QList<Shortcut>>();
    }

    // The keys registered in one go are one bind, in the session the portal made, each with the trigger it
    // would like.
    void keysRegisteredTogetherAreOneBind() {
        PortalDesktop desktop(0);
        QVERIFY(desktop.up());
        os::PortalHotKeySource source(desktop.service());
        QVERIFY(source.available());
        QCOMPARE(source.registerKey(1, ctrlAltR, {u"record"_s, u"Tune in"_s}), std::nullopt);
        QCOMPARE(source.registerKey(3, ctrlAltSpace, {u"talk"_s, u"Talk while held"_s, true}), std::nullopt);
        QTRY_COMPARE_WITH_TIMEOUT(desktop.seen().bindsNow(), 1, 10000);
        const QList<Shortcut> bound = desktop.seen().boundNow();
        QCOMPARE(bound.size(), 2);
        QCOMPARE(bound[0].id, u"record"_s);
        QCOMPARE(bound[0].properties.value(u"description"_s).toString(), u"Tune in"_s);
        QCOMPARE(bound[0].properties.value(u"preferred_trigger"_s).toString(), u"CTRL+ALT+r"_s);
        QCOMPARE(bound[1].id, u"talk"_s);
        QCOMPARE(bound[1].properties.value(u"preferred_trigger"_s).toString(), u"CTRL+ALT+space"_s);

        // A key registered later is a bind of its own in the same session.
        QCOMPARE(source.registerKey(2, ctrlAltP, {u"pin"_s, u"Pin"_s}), std::nullopt);
        QTRY_COMPARE_WITH_TIMEOUT(desktop.seen().bindsNow(), 2, 10000);
        QCOMPARE(desktop.seen().boundNow().size(), 1);
        QCOMPARE(desktop.seen().boundNow()[0].id, u"pin"_s);
    }

    void theDesktopsSignalsReachTheirKey_data() {
        QTest::addColumn<QString>("shortcut");
        QTest::addColumn<quint32>("id");
        row("record", u"record"_s, quint32(HotKeys::record));
        row("pin", u"pin"_s, quint32(HotKeys::pin));
        row("talk", u"talk"_s, quint32(HotKeys::voice));
    }
    void theDesktopsSignalsReachTheirKey() {
        QFETCH(QString, shortcut);
        QFETCH(quint32, id);
        PortalDesktop desktop(0);
        os::PortalHotKeySource source(desktop.service());
        HotKeys keys(source);
        QList<quint32> downs, ups;
        keys.registerAppKeys({.record = [&] { downs.append(HotKeys::record); },
                              .pin = [&] { downs.append(HotKeys::pin); },
                              .voiceDown = [&] { downs.append(HotKeys::voice); },
                              .voiceUp = [&] { ups.append(HotKeys::voice); }});
        QSignalSpy released(&source, &os::HotKeySource::released);
        QTRY_COMPARE_WITH_TIMEOUT(desktop.seen().boundNow().size(), 3, 10000);
        const QString session = desktop.seen().sessionNow();
        // Another program's session is not ours: only the second signal is.
        desktop.signal(u"Activated"_s, session + u"-other"_s, u"record"_s);
        desktop.signal(u"Activated"_s, session, shortcut);
        QTRY_COMPARE_WITH_TIMEOUT(downs.size(), 1, 10000);
        QCOMPARE(downs.first(), id);
        desktop.signal(u"Deactivated"_s, session, shortcut);
        QVERIFY(released.wait(10000));
        QCOMPARE(released.first().first().value<quint32>(), id);
        QCOMPARE(ups, id == HotKeys::voice ? QList<quint32>{id} : QList<quint32>{});
        QVERIFY(keys.voiceKeyOK());
    }

    void aRefusedBindLeavesTheKeysOut_data() {
        QTest::addColumn<uint>("answer");
        QTest::addColumn<QString>("reason");
        row("the user says no", 1u, u"the user turned the keys down"_s);
        row("the desktop ends the request", 2u, u"the desktop ended the request"_s);
    }
    void aRefusedBindLeavesTheKeysOut() {
        QFETCH(uint, answer);
        QFETCH(QString, reason);
        const testsupport::LogWatch log;
        PortalDesktop desktop(answer);
        os::PortalHotKeySource source(desktop.service());
        HotKeys keys(source);
        QSignalSpy refused(&source, &os::HotKeySource::refused);
        int downs = 0;
        keys.registerAppKeys(
            {.record = [&] { ++downs; }, .pin = [&] { ++downs; }, .voiceDown = [&] { ++downs; }});
        QVERIFY(keys.voiceKeyOK()); // until the desktop answers
        QTRY_COMPARE_WITH_TIMEOUT(refused.size(), 3, 10000);
        QCOMPARE(refused.first().at(1).toString(), reason);
        for (quint32 id : {1, 2, 3})
            QVERIFY2(log.text().contains(u"hotkey %1 not registered (%2)"_s.arg(id).arg(reason)),
                     qPrintable(log.text()));
        QVERIFY(!keys.voiceKeyOK());
        // A signal that reaches the source anyway runs nothing: the test hears it after the source has.
        QSignalSpy pressed(&source, &os::HotKeySource::pressed);
        Heard heard(desktop.service());
        desktop.signal(u"Activated"_s, desktop.seen().sessionNow(), u"record"_s);
        QTRY_COMPARE_WITH_TIMEOUT(heard.count, 1, 10000);
        QCOMPARE(pressed.size(), 0);
        QCOMPARE(downs, 0);
    }

    void withoutThePortalNoKeyIsTaken() {
        os::PortalHotKeySource source(
            u"app.orvane.test.NoPortal%1"_s.arg(QCoreApplication::applicationPid()));
        QVERIFY(!source.available());
        QCOMPARE(source.registerKey(1, ctrlAltR, {u"record"_s, u"Tune in"_s}),
                 u"no GlobalShortcuts portal"_s);
    }
};

QTEST_GUILESS_MAIN(TestPortalKeys)
#include "tst_portal_keys.moc"
