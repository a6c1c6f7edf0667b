#pragma once

#include "os/HotKeySource.h"

#include <QSocketNotifier>
#include <memory>
#include <vector>

struct xcb_connection_t;

namespace os {

// Global keys as passive key grabs on the root window, on an X connection of its own that the main loop
// reads. Each combination is grabbed with every state of Caps Lock and Num Lock, on every key that carries
// its keysym in any group, so that a second layout (Russian beside English) keeps the keys; a new keyboard
// map grabs again. XKB's detectable auto-repeat turns a held key into one press and one release.
class X11HotKeySource final : public HotKeySource {
public:
    // `display` empty: $DISPLAY.
    explicit X11HotKeySource(const QString& display = {}, QObject* parent = nullptr);
    ~X11HotKeySource() override;

    bool available() const override;
    std::optional<QString> registerKey(quint32 id, KeyCombination keys, const KeyAction& action) override;

private:
    // One passive grab: a key code and the exact modifier state it fires in.
    struct Grab {
        quint8 code = 0;
        quint16 state = 0;
        bool operator==(const Grab&) const = default;
    };
    struct Key {
        quint32 id = 0;
        KeyCombination keys;
        std::vector<Grab> grabs;
    };
    // A combination that is down, until its own key goes up.
    struct Hold {
        quint32 id = 0;
        quint8 code = 0;
        bool released = false; // a modifier went up first
    };
    struct Keymap;

    void connectTo(const QString& display);
    void readKeymap();
    quint16 stateOf(unsigned modifiers) const;
    std::vector<Grab> grabsFor(KeyCombination keys) const;
    // Grabs each of `grabs`; on the first refusal, what was grabbed is let go. Answers the X error's name.
    std::optional<QString> grabAll(const std::vector<Grab>& grabs);
    void ungrab(const std::vector<Grab>& grabs);
    void regrab();
    void readEvents();
    void drainSoon();
    void keyPressed(quint8 code, quint16 state);
    void keyReleased(quint8 code);
    void connectionLost();

    xcb_connection_t* m_c = nullptr;
    quint32 m_root = 0;
    quint8 m_xkbEvent = 0; // the XKB extension's event code; 0 without XKB
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::unique_ptr<Keymap> m_keymap;
    std::vector<Key> m_keys;
    std::vector<Hold> m_holds;
    bool m_regrabQueued = false;
    bool m_drainQueued = false;
};

} // namespace os
