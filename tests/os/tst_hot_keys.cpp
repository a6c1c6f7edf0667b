#include "RequiredServices.h"
#include "os/linux/X11Grabber.h"
#include "os/linux/X11HotKeySource.h"
#include "os/linux/XcbXkb.h"
#include "support/PrivateXServer.h"
#include "support/Rows.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <X11/keysym.h>
#include <cstdlib>
#include <memory>
#include <xcb/xcb_keysyms.h>

using testsupport::row;
using namespace Qt::StringLiterals;

namespace {

constexpr unsigned ctrlAlt = os::KeyCombination::ctrl | os::KeyCombination::alt;
const os::KeyCombination ctrlAltR{'r', ctrlAlt};
const os::KeyCombination ctrlAltP{'p', ctrlAlt};
const os::KeyCombination ctrlAltSpace{' ', ctrlAlt};

// What the hot keys' log category said, for the lines that tell of a new keyboard map or a lost server.
QStringList logged;
void keepHotKeyLines(QtMsgType, const QMessageLogContext& context, const QString& message) {
    if (context.category && QLatin1String(context.category) == "hotkeys"_L1) logged.append(message);
}
bool saidSoon(const QString& part) {
    return QTest::qWaitFor([&] { return logged.join(u'\n').contains(part); }, 10000);
}

// A desktop of the test's own, Xvfb and openbox, so that its lock keys and layouts reach no other test.
class Desktop {
public:
    // `wmKey`: an openbox binding ("C-A-space") that the window manager takes before anyone else.
    bool start(const QString& wmKey = {}) {
        if (!m_x.start(u"640x480x24"_s)) return false;
        QStringList args;
        if (!wmKey.isEmpty()) {
            QFile rc(m_dir.filePath(u"rc.xml"_s));
            if (!rc.open(QIODevice::WriteOnly)) return false;
            rc.write(u"<openbox_config xmlns=\"http://openbox.org/3.4/rc\"><keyboard><keybind key=\"%1\">"
                     "<action name=\"Execute\"><command>true</command></action></keybind></keyboard>"
                     "</openbox_config>"_s.arg(wmKey)
                         .toUtf8());
            rc.close();
            args << u"--config-file"_s << rc.fileName();
        }
        // Openbox runs its start-up command once it has taken its keys and manages.
        const QString started = m_dir.filePath(u"started"_s);
        args << u"--startup"_s << u"touch "_s + started;
        m_wm.setProcessEnvironment(environment());
        m_wm.start(u"openbox"_s, args);
        return QTest::qWaitFor([&] { return QFile::exists(started); }, 10000);
    }
    ~Desktop() {
        for (QProcess* p : {&m_typist, &m_wm}) {
            p->kill();
            p->waitForFinished();
        }
    }
    QString display() const { return m_x.display(); }
    void killServer() { m_x.kill(); }

    // Runs an X client on this desktop to its end; true when it succeeded.
    bool run(const QString& program, const QStringList& args) const {
        QProcess p;
        p.setProcessEnvironment(environment());
        p.start(program, args);
        return p.waitForFinished(20000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    }
    // Types with xdotool without waiting for it, so that the keys are read while it types.
    void type(const QStringList& args) {
        m_typist.waitForFinished();
        m_typist.setProcessEnvironment(environment());
        m_typist.start(u"xdotool"_s, args);
    }

private:
    QProcessEnvironment environment() const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"DISPLAY"_s, m_x.display());
        return env;
    }

    PrivateXServer m_x;
    QProcess m_wm;
    QProcess m_typist;
    QTemporaryDir m_dir;
};

// The keyboard as the X server sees it, asked on a connection of the test's own.
class Keyboard {
public:
    explicit Keyboard(const QString& display) : m_c(xcb_connect(display.toLatin1().constData(), nullptr)) {
        std::free(xcb_xkb_use_extension_reply(m_c, xcb_xkb_use_extension(m_c, 1, 0), nullptr));
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_c)).data->root;
    }
    ~Keyboard() { xcb_disconnect(m_c); }
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    quint8 lockedModifiers() { return state().lockedMods; }
    // Caps Lock, Num Lock and the rest off, as a failed case may have left them.
    void unlockModifiers() {
        xcb_xkb_latch_lock_state(m_c, XCB_XKB_ID_USE_CORE_KBD, 0xff, 0, 0, 0, 0, 0, 0);
        state();
    }
    // Answers the group in effect then.
    quint8 lockGroup(quint8 group) {
        xcb_xkb_latch_lock_state(m_c, XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1, group, 0, 0, 0);
        return state().group;
    }
    quint8 keyOf(quint32 keysym) {
        xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(m_c);
        xcb_keycode_t* codes = xcb_key_symbols_get_keycode(symbols, keysym);
        const quint8 code = codes ? codes[0] : 0;
        std::free(codes);
        xcb_key_symbols_free(symbols);
        return code;
    }
    bool isDown(quint8 code) {
        const auto map = os::xcbReply(xcb_query_keymap_reply(m_c, xcb_query_keymap(m_c), nullptr));
        return map && (map->keys[code / 8] & (1u << (code % 8)));
    }
    // The server repeats this key when it is held, sooner than `withinMs`.
    bool repeats(quint8 code, int withinMs) {
        const auto controls = os::xcbReply(
            xcb_xkb_get_controls_reply(m_c, xcb_xkb_get_controls(m_c, XCB_XKB_ID_USE_CORE_KBD), nullptr));
        return controls && (controls->enabledControls & XCB_XKB_BOOL_CTRL_REPEAT_KEYS) &&
               (controls->perKeyRepeat[code / 8] & (1u << (code % 8))) && controls->repeatDelay < withinMs;
    }
    // Takes the key with exactly these modifiers, as another program would.
    bool grab(quint8 code, quint16 modifiers) {
        return !os::xcbReply(
            xcb_request_check(m_c, xcb_grab_key_checked(m_c, 0, m_root, modifiers, code, XCB_GRAB_MODE_ASYNC,
                                                        XCB_GRAB_MODE_ASYNC)));
    }
    void ungrab(quint8 code, quint16 modifiers) {
        std::free(xcb_request_check(m_c, xcb_ungrab_key_checked(m_c, code, m_root, modifiers)));
    }

private:
    xcb_xkb_get_state_reply_t state() {
        const auto reply = os::xcbReply(
            xcb_xkb_get_state_reply(m_c, xcb_xkb_get_state(m_c, XCB_XKB_ID_USE_CORE_KBD), nullptr));
        return reply ? *reply : xcb_xkb_get_state_reply_t{};
    }

    xcb_connection_t* m_c;
    xcb_window_t m_root = 0;
};

QList<quint32> ids(const QSignalSpy& spy) {
    QList<quint32> list;
    for (const QList<QVariant>& args : spy)
        list.append(args.at(0).value<quint32>());
    return list;
}

} // namespace

// Global keys on a real X server with a window manager, pressed with xdotool through XTest as the keyboard
// would.
class TestHotKeys : public QObject {
    Q_OBJECT
    Desktop m_desktop;
    std::unique_ptr<os::X11HotKeySource> m_source;
    std::unique_ptr<Keyboard> m_keyboard;

    // Types on the desktop and waits until the spy has seen `id`; false when it never does.
    static bool typeUntil(Desktop& desktop, const QSignalSpy& spy, const QStringList& xdotool, quint32 id) {
        desktop.type(xdotool);
        return QTest::qWaitFor([&] { return ids(spy).contains(id); }, 10000);
    }

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(xvfbInstalled(), "Xvfb");
        qInstallMessageHandler(keepHotKeyLines);
        QVERIFY(m_desktop.start());
        m_source = std::make_unique<os::X11HotKeySource>(m_desktop.display());
        m_keyboard = std::make_unique<Keyboard>(m_desktop.display());
        QVERIFY(m_source->available());
        QCOMPARE(m_source->registerKey(1, ctrlAltR, {}), std::nullopt);
        QCOMPARE(m_source->registerKey(2, ctrlAltP, {}), std::nullopt);
        QCOMPARE(m_source->registerKey(3, ctrlAltSpace, {}), std::nullopt);
    }

    void cleanup() { m_keyboard->unlockModifiers(); }

    void eachKeyWorksWithTheLocksOn_data() {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<quint32>("id");
        QTest::addColumn<QStringList>("locks");
        QTest::addColumn<int>("lockedMask");
        row("Ctrl+Alt+R with no lock on", u"ctrl+alt+r"_s, 1u, QStringList{}, 0);
        row("Ctrl+Alt+P with Caps Lock on", u"ctrl+alt+p"_s, 2u, QStringList{u"Caps_Lock"_s},
            int(XCB_MOD_MASK_LOCK));
        row("Ctrl+Alt+Space with Num Lock on", u"ctrl+alt+space"_s, 3u, QStringList{u"Num_Lock"_s},
            int(XCB_MOD_MASK_2));
        row("Ctrl+Alt+R with Caps Lock and Num Lock on", u"ctrl+alt+r"_s, 1u,
            QStringList{u"Caps_Lock"_s, u"Num_Lock"_s}, int(XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2));
    }
    void eachKeyWorksWithTheLocksOn() {
        QFETCH(QString, keys);
        QFETCH(quint32, id);
        QFETCH(QStringList, locks);
        QFETCH(int, lockedMask);
        for (const QString& lock : locks)
            QVERIFY(m_desktop.run(u"xdotool"_s, {u"key"_s, lock}));
        QCOMPARE(int(m_keyboard->lockedModifiers()), lockedMask);

        QSignalSpy pressed(m_source.get(), &os::HotKeySource::pressed);
        QSignalSpy released(m_source.get(), &os::HotKeySource::released);
        m_desktop.type({u"key"_s, keys});
        QVERIFY(released.wait(10000));
        QCOMPARE(ids(pressed), QList<quint32>{id});
        QCOMPARE(ids(released), QList<quint32>{id});
    }

    // Each hold is followed by Ctrl+Alt+P, which comes after anything the hold could still have sent.
    void aHoldIsOnePressAndOneRelease_data() {
        QTest::addColumn<QString>("hold");
        QTest::addColumn<bool>("spaceDownAtRelease");
        row("two seconds held, the key repeating",
            u"keydown ctrl+alt+space sleep 2 keyup space keyup alt keyup ctrl"_s, false);
        row("Ctrl going up first ends it while Space is still down",
            u"keydown ctrl+alt+space sleep 1 keyup ctrl sleep 1 keyup space keyup alt"_s, true);
    }
    void aHoldIsOnePressAndOneRelease() {
        QFETCH(QString, hold);
        QFETCH(bool, spaceDownAtRelease);
        const quint8 space = m_keyboard->keyOf(XK_space);
        QVERIFY2(m_keyboard->repeats(space, 1000), "the server would not repeat a held Space");

        QSignalSpy pressed(m_source.get(), &os::HotKeySource::pressed);
        QSignalSpy released(m_source.get(), &os::HotKeySource::released);
        QList<bool> spaceDown;
        const QObject scope;
        connect(m_source.get(), &os::HotKeySource::released, &scope,
                [&] { spaceDown.append(m_keyboard->isDown(space)); });
        QVERIFY(typeUntil(m_desktop, released, hold.split(u' ') + QStringList{u"key"_s, u"ctrl+alt+p"_s}, 2));
        QCOMPARE(ids(pressed), (QList<quint32>{3, 2}));
        QCOMPARE(ids(released), (QList<quint32>{3, 2}));
        QCOMPARE(spaceDown.first(), spaceDownAtRelease);
    }

    void aKeyAnotherProgramHoldsIsRefusedAndHoldsNothing_data() {
        QTest::addColumn<QString>("wmKey");
        QTest::addColumn<bool>("heldWithNumLock");
        row("the window manager binds Ctrl+Alt+Space", u"C-A-space"_s, false);
        row("a program holds Ctrl+Alt+Space with Num Lock on only", QString(), true);
    }
    void aKeyAnotherProgramHoldsIsRefusedAndHoldsNothing() {
        QFETCH(QString, wmKey);
        QFETCH(bool, heldWithNumLock);
        Desktop desktop;
        QVERIFY(desktop.start(wmKey));
        Keyboard other(desktop.display());
        const quint8 space = other.keyOf(XK_space);
        const quint16 ctrlAltMask = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;
        if (heldWithNumLock) QVERIFY(other.grab(space, ctrlAltMask | XCB_MOD_MASK_2));

        os::X11HotKeySource source(desktop.display());
        QCOMPARE(source.registerKey(3, ctrlAltSpace, {}), u"BadAccess"_s);
        QCOMPARE(source.registerKey(1, ctrlAltR, {}), std::nullopt);
        if (heldWithNumLock) {
            // What was grabbed before the refusal was let go: once the other program lets go, every form is
            // free.
            other.ungrab(space, ctrlAltMask | XCB_MOD_MASK_2);
            for (const int lock :
                 {0, int(XCB_MOD_MASK_LOCK), int(XCB_MOD_MASK_2), int(XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2)})
                QVERIFY(other.grab(space, quint16(ctrlAltMask | lock)));
        }
    }

    void aNewKeyboardMapKeepsTheKeys_data() {
        QTest::addColumn<QStringList>("layout");
        QTest::addColumn<quint8>("group");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<bool>("rMoves");
        row("English and Russian, with Russian on: the R key types a Cyrillic letter",
            QStringList{u"-layout"_s, u"us,ru"_s}, quint8(1), u"ctrl+alt+Cyrillic_ka"_s, false);
        row("Russian and English, with Russian on: R is only in the second group",
            QStringList{u"-layout"_s, u"ru,us"_s}, quint8(0), u"ctrl+alt+Cyrillic_ka"_s, false);
        row("Dvorak, which puts R on another key",
            QStringList{u"-layout"_s, u"us"_s, u"-variant"_s, u"dvorak"_s}, quint8(0), u"ctrl+alt+r"_s, true);
    }
    void aNewKeyboardMapKeepsTheKeys() {
        QFETCH(QStringList, layout);
        QFETCH(quint8, group);
        QFETCH(QString, keys);
        QFETCH(bool, rMoves);
        Desktop desktop;
        QVERIFY(desktop.start());
        Keyboard keyboard(desktop.display());
        os::X11HotKeySource source(desktop.display());
        const quint8 before = keyboard.keyOf(XK_r);
        QCOMPARE(source.registerKey(1, ctrlAltR, {}), std::nullopt);

        logged.clear();
        QVERIFY(desktop.run(u"setxkbmap"_s, layout));
        QCOMPARE(keyboard.keyOf(XK_r) != before, rMoves);
        if (rMoves) QVERIFY(saidSoon(u"the keyboard map changed"_s));
        QCOMPARE(keyboard.lockGroup(group), group);

        QSignalSpy released(&source, &os::HotKeySource::released);
        QVERIFY(typeUntil(desktop, released, {u"key"_s, keys}, 1));
    }

    void aLostServerIsLoggedAndKeysAreOff() {
        Desktop desktop;
        QVERIFY(desktop.start());
        os::X11HotKeySource source(desktop.display());
        QCOMPARE(source.registerKey(1, ctrlAltR, {}), std::nullopt);
        logged.clear();
        desktop.killServer();
        QVERIFY(saidSoon(u"the X connection is lost"_s));
        QVERIFY(!source.available());
        QVERIFY(source.registerKey(2, ctrlAltP, {}).has_value());
    }
};

QTEST_GUILESS_MAIN(TestHotKeys)
#include "tst_hot_keys.moc"
