#include "os/linux/X11HotKeySource.h"

#include "os/linux/X11Grabber.h"
#include "os/linux/XcbXkb.h"

#include <QLoggingCategory>
#include <X11/keysym.h>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

Q_LOGGING_CATEGORY(lcHotKeys, "hotkeys")

namespace os {

namespace {

constexpr quint8 badAccess = 10;

QString errorName(quint8 code) {
    return code == badAccess ? QStringLiteral("BadAccess") : QStringLiteral("X error %1").arg(code);
}

} // namespace

// What the keyboard map says now: which keys carry a keysym, and which keys and bits the modifiers are.
struct X11HotKeySource::Keymap {
    xcb_key_symbols_t* symbols;
    std::array<std::vector<quint8>, 8> modifierKeys; // the keys of each of the eight modifier bits
    quint16 alt = XCB_MOD_MASK_1;
    quint16 super = XCB_MOD_MASK_4;
    quint16 numLock = 0; // none when no key locks numbers

    explicit Keymap(xcb_connection_t* c) : symbols(xcb_key_symbols_alloc(c)) {
        const auto map = xcbReply(xcb_get_modifier_mapping_reply(c, xcb_get_modifier_mapping(c), nullptr));
        if (!map) return;
        const xcb_keycode_t* codes = xcb_get_modifier_mapping_keycodes(map.get());
        const int perModifier = map->keycodes_per_modifier;
        for (int bit = 0; bit < 8; ++bit)
            for (int i = 0; i < perModifier; ++i)
                if (const xcb_keycode_t code = codes[bit * perModifier + i])
                    modifierKeys[bit].push_back(code);
        // Alt, Super and Num Lock sit on whichever ModN bit the map gives them.
        if (const quint16 m = maskOf(XK_Alt_L)) alt = m;
        if (const quint16 m = maskOf(XK_Super_L)) super = m;
        numLock = maskOf(XK_Num_Lock);
    }
    ~Keymap() { xcb_key_symbols_free(symbols); }
    Keymap(const Keymap&) = delete;
    Keymap& operator=(const Keymap&) = delete;

    std::vector<quint8> keysOf(quint32 keysym) const {
        std::vector<quint8> keys;
        if (xcb_keycode_t* found = xcb_key_symbols_get_keycode(symbols, keysym)) {
            for (const xcb_keycode_t* k = found; *k != XCB_NO_SYMBOL; ++k)
                if (std::find(keys.begin(), keys.end(), *k) == keys.end()) keys.push_back(*k);
            std::free(found);
        }
        return keys;
    }

    quint16 maskOf(quint32 keysym) const {
        const std::vector<quint8> keys = keysOf(keysym);
        for (int bit = 0; bit < 8; ++bit)
            for (const quint8 k : modifierKeys[bit])
                if (std::find(keys.begin(), keys.end(), k) != keys.end()) return quint16(1u << bit);
        return 0;
    }

    bool isModifierKey(quint8 code, quint16 state) const {
        for (int bit = 0; bit < 8; ++bit)
            if ((state & (1u << bit)) && std::find(modifierKeys[bit].begin(), modifierKeys[bit].end(),
                                                   code) != modifierKeys[bit].end())
                return true;
        return false;
    }

    // The locks a user may have on, which must not stop a key from working.
    quint16 locks() const { return quint16(XCB_MOD_MASK_LOCK | numLock); }
};

X11HotKeySource::X11HotKeySource(const QString& display, QObject* parent) : HotKeySource(parent) {
    connectTo(display);
}

X11HotKeySource::~X11HotKeySource() {
    m_notifier.reset();
    m_keymap.reset();
    if (m_c) xcb_disconnect(m_c); // the server drops the grabs with the connection
}

void X11HotKeySource::connectTo(const QString& display) {
    int screenNumber = 0;
    m_c = xcb_connect(display.isEmpty() ? nullptr : display.toLocal8Bit().constData(), &screenNumber);
    if (xcb_connection_has_error(m_c)) {
        qCWarning(lcHotKeys) << "no X display: global keys are off";
        return;
    }
    const xcb_screen_t* screen = xcbScreen(m_c, screenNumber);
    if (!screen) return;
    m_root = screen->root;

    // Without detectable auto-repeat a held key would arrive as a train of releases and presses.
    const auto xkb = xcbReply(xcb_xkb_use_extension_reply(
        m_c, xcb_xkb_use_extension(m_c, XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION), nullptr));
    if (xkb && xkb->supported) {
        m_xkbEvent = xcb_get_extension_data(m_c, &xcb_xkb_id)->first_event;
        const uint32_t detectable = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
        const auto flags = xcbReply(xcb_xkb_per_client_flags_reply(
            m_c, xcb_xkb_per_client_flags(m_c, XCB_XKB_ID_USE_CORE_KBD, detectable, detectable, 0, 0, 0),
            nullptr));
        if (!flags || !(flags->value & detectable))
            qCWarning(lcHotKeys) << "the X server repeats held keys as new presses";
        const uint16_t changes = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
        const uint16_t parts = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
        xcb_xkb_select_events(m_c, XCB_XKB_ID_USE_CORE_KBD, changes, 0, changes, parts, parts, nullptr);
    } else {
        qCWarning(lcHotKeys) << "the X server has no XKB: held keys repeat as new presses";
    }
    readKeymap();
    m_notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_c), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &X11HotKeySource::readEvents);
}

bool X11HotKeySource::available() const {
    return m_root != 0 && !xcb_connection_has_error(m_c);
}

void X11HotKeySource::readKeymap() {
    m_keymap = std::make_unique<Keymap>(m_c);
}

quint16 X11HotKeySource::stateOf(unsigned modifiers) const {
    quint16 state = 0;
    if (modifiers & KeyCombination::shift) state |= XCB_MOD_MASK_SHIFT;
    if (modifiers & KeyCombination::ctrl) state |= XCB_MOD_MASK_CONTROL;
    if (modifiers & KeyCombination::alt) state |= m_keymap->alt;
    if (modifiers & KeyCombination::super) state |= m_keymap->super;
    return state;
}

std::vector<X11HotKeySource::Grab> X11HotKeySource::grabsFor(KeyCombination keys) const {
    const quint16 state = stateOf(keys.modifiers);
    std::vector<quint16> locks{0, XCB_MOD_MASK_LOCK};
    if (m_keymap->numLock)
        locks.insert(locks.end(), {m_keymap->numLock, quint16(XCB_MOD_MASK_LOCK | m_keymap->numLock)});
    std::vector<Grab> grabs;
    for (const quint8 code : m_keymap->keysOf(keys.keysym))
        for (const quint16 lock : locks)
            grabs.push_back({code, quint16(state | lock)});
    return grabs;
}

std::optional<QString> X11HotKeySource::grabAll(const std::vector<Grab>& grabs) {
    std::vector<xcb_void_cookie_t> cookies;
    cookies.reserve(grabs.size());
    for (const Grab& g : grabs)
        cookies.push_back(
            xcb_grab_key_checked(m_c, 0, m_root, g.state, g.code, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    std::optional<QString> refused;
    for (const xcb_void_cookie_t cookie : cookies)
        if (xcb_generic_error_t* error = xcb_request_check(m_c, cookie)) {
            if (!refused) refused = errorName(error->error_code);
            std::free(error);
        }
    // Letting go of a combination this connection never held changes nothing, so all of them go.
    if (refused) ungrab(grabs);
    drainSoon();
    return refused;
}

void X11HotKeySource::ungrab(const std::vector<Grab>& grabs) {
    for (const Grab& g : grabs)
        xcb_ungrab_key(m_c, g.code, m_root, g.state);
    xcb_flush(m_c);
}

std::optional<QString> X11HotKeySource::registerKey(quint32 id, KeyCombination keys, const KeyAction&) {
    if (!available()) return QStringLiteral("no X display");
    std::vector<Grab> grabs = grabsFor(keys);
    if (grabs.empty()) return QStringLiteral("no key has it in the keyboard map");
    if (std::optional<QString> refused = grabAll(grabs)) return refused;
    m_keys.push_back({id, keys, std::move(grabs)});
    return std::nullopt;
}

// A new layout or a remapped key: each combination is grabbed on the keys that carry it now. Grabs that stay
// the same are kept, so a key pressed meanwhile is not lost.
void X11HotKeySource::regrab() {
    m_regrabQueued = false;
    if (!available()) return;
    readKeymap();
    bool changed = false;
    for (Key& key : m_keys) {
        std::vector<Grab> wanted = grabsFor(key.keys);
        std::vector<Grab> gone, added;
        std::copy_if(key.grabs.begin(), key.grabs.end(), std::back_inserter(gone), [&](const Grab& g) {
            return std::find(wanted.begin(), wanted.end(), g) == wanted.end();
        });
        std::copy_if(wanted.begin(), wanted.end(), std::back_inserter(added), [&](const Grab& g) {
            return std::find(key.grabs.begin(), key.grabs.end(), g) == key.grabs.end();
        });
        if (gone.empty() && added.empty()) continue;
        changed = true;
        ungrab(gone);
        if (const std::optional<QString> refused = grabAll(added)) {
            qCWarning(lcHotKeys).noquote()
                << QStringLiteral("hotkey %1 lost with the new keyboard map (%2)").arg(key.id).arg(*refused);
            std::erase_if(wanted, [&](const Grab& g) {
                return std::find(added.begin(), added.end(), g) != added.end();
            });
        }
        key.grabs = std::move(wanted);
    }
    if (changed) qCInfo(lcHotKeys) << "the keyboard map changed: the hot keys follow it";
}

void X11HotKeySource::drainSoon() {
    // Replies waited for may have brought events into xcb's queue, which the socket no longer announces.
    if (m_drainQueued) return;
    m_drainQueued = true;
    QMetaObject::invokeMethod(this, &X11HotKeySource::readEvents, Qt::QueuedConnection);
}

void X11HotKeySource::readEvents() {
    m_drainQueued = false;
    if (!m_c || !m_notifier || !m_notifier->isEnabled()) return;
    while (xcb_generic_event_t* event = xcb_poll_for_event(m_c)) {
        const auto owned = xcbReply(event);
        const quint8 type = event->response_type & 0x7f;
        if (type == XCB_KEY_PRESS) {
            const auto* key = reinterpret_cast<const xcb_key_press_event_t*>(event);
            keyPressed(key->detail, key->state);
        } else if (type == XCB_KEY_RELEASE) {
            keyReleased(reinterpret_cast<const xcb_key_release_event_t*>(event)->detail);
        } else if (type == XCB_MAPPING_NOTIFY ||
                   (m_xkbEvent != 0 && type == m_xkbEvent &&
                    reinterpret_cast<const xcb_xkb_map_notify_event_t*>(event)->xkbType !=
                        XCB_XKB_STATE_NOTIFY)) {
            // One change of layout sends several of these; the keys are grabbed again once, after them.
            if (!m_regrabQueued) {
                m_regrabQueued = true;
                QMetaObject::invokeMethod(this, &X11HotKeySource::regrab, Qt::QueuedConnection);
            }
        }
    }
    if (xcb_connection_has_error(m_c)) connectionLost();
}

void X11HotKeySource::keyPressed(quint8 code, quint16 state) {
    const quint16 held = state & 0xff & ~m_keymap->locks();
    const auto key = std::find_if(m_keys.begin(), m_keys.end(), [&](const Key& k) {
        return stateOf(k.keys.modifiers) == held &&
               std::any_of(k.grabs.begin(), k.grabs.end(), [&](const Grab& g) { return g.code == code; });
    });
    if (key == m_keys.end()) return;
    // A press while the combination is down is the key repeating.
    if (std::any_of(m_holds.begin(), m_holds.end(), [&](const Hold& h) { return h.id == key->id; })) return;
    m_holds.push_back({key->id, code});
    emit pressed(key->id);
}

void X11HotKeySource::keyReleased(quint8 code) {
    std::vector<quint32> ended;
    for (Hold& hold : m_holds) {
        const auto key =
            std::find_if(m_keys.begin(), m_keys.end(), [&](const Key& k) { return k.id == hold.id; });
        const bool ownKey = hold.code == code;
        const bool modifier =
            key != m_keys.end() && m_keymap->isModifierKey(code, stateOf(key->keys.modifiers));
        if ((ownKey || modifier) && !hold.released) {
            hold.released = true;
            ended.push_back(hold.id);
        }
    }
    // The hold lasts until its own key is up, so that the key's repeats after a modifier went up stay quiet.
    std::erase_if(m_holds, [&](const Hold& h) { return h.code == code; });
    for (const quint32 id : ended)
        emit released(id);
}

void X11HotKeySource::connectionLost() {
    qCWarning(lcHotKeys) << "the X connection is lost: global keys no longer work";
    m_notifier->setEnabled(false);
    m_holds.clear();
}

} // namespace os
