// Key press to handler: Ctrl+Alt+R pressed through XTest, as the keyboard driver would, until HotKeys runs
// the record key's handler on the main loop. The reference, in the same run, is the X server's own delivery:
// a bare xcb client that grabbed Ctrl+Alt+T and blocks on its socket for the press. Usage: bench_hot_keys
// [presses] (needs $DISPLAY, for example under scripts/with-test-services).
#include "os/linux/X11HotKeySource.h"
#include "surfaces/HotKeys.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <X11/keysym.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>
#include <xcb/xcb_keysyms.h>
#include <xcb/xtest.h>

namespace {

// Presses keys through XTest on a connection of its own.
class Keyboard {
public:
    Keyboard() : m_c(xcb_connect(nullptr, nullptr)) {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_c)).data->root;
        xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(m_c);
        for (const xcb_keysym_t sym : {XK_Control_L, XK_Alt_L, XK_r, XK_t}) {
            xcb_keycode_t* codes = xcb_key_symbols_get_keycode(symbols, sym);
            m_codes.push_back(codes ? codes[0] : 0);
            std::free(codes);
        }
        xcb_key_symbols_free(symbols);
    }
    ~Keyboard() { xcb_disconnect(m_c); }
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    bool ready() const {
        return !xcb_connection_has_error(m_c) && std::count(m_codes.begin(), m_codes.end(), 0) == 0;
    }
    xcb_keycode_t code(int which) const { return m_codes[which]; }
    void hold(xcb_keycode_t key) { send(XCB_KEY_PRESS, key); }
    void lift(xcb_keycode_t key) { send(XCB_KEY_RELEASE, key); }
    xcb_connection_t* connection() const { return m_c; }
    xcb_window_t root() const { return m_root; }

    enum { ctrl, alt, r, t };

private:
    void send(uint8_t type, xcb_keycode_t key) {
        xcb_test_fake_input(m_c, type, key, XCB_CURRENT_TIME, m_root, 0, 0, 0);
        xcb_flush(m_c);
    }

    xcb_connection_t* m_c;
    xcb_window_t m_root = 0;
    std::vector<xcb_keycode_t> m_codes;
};

struct Figures {
    double p50, p95, max;
};

// The first press is not counted: on a fresh server it can wait for the key's auto-repeat (660 ms), in both
// measurements alike.
Figures figures(std::vector<double> ms) {
    ms.erase(ms.begin());
    std::sort(ms.begin(), ms.end());
    const auto at = [&](double q) { return ms[std::min(ms.size() - 1, size_t(q * double(ms.size())))]; };
    return {at(0.5), at(0.95), ms.back()};
}

void slow(const std::vector<double>& ms) {
    for (size_t i = 0; i < ms.size(); ++i)
        if (ms[i] > 50) std::printf("  slow: #%zu %.1f ms\n", i, ms[i]);
}

void print(const char* what, const Figures& f, size_t n) {
    std::printf("%-62s n=%zu+1  p50 %.2f ms  p95 %.2f ms  max %.2f ms\n", what, n, f.p50, f.p95, f.max);
}

// The server's delivery alone: a client that waits on its socket for the grabbed press.
std::vector<double> reference(Keyboard& keyboard, int presses) {
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    std::free(xcb_request_check(c, xcb_grab_key_checked(c, 0, root, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1,
                                                        keyboard.code(Keyboard::t), XCB_GRAB_MODE_ASYNC,
                                                        XCB_GRAB_MODE_ASYNC)));
    std::vector<double> ms;
    QElapsedTimer clock;
    keyboard.hold(keyboard.code(Keyboard::ctrl));
    keyboard.hold(keyboard.code(Keyboard::alt));
    for (int i = 0; i < presses; ++i) {
        clock.start();
        keyboard.hold(keyboard.code(Keyboard::t));
        bool pressed = false;
        while (!pressed) {
            xcb_generic_event_t* event = xcb_wait_for_event(c);
            if (!event) break;
            pressed = (event->response_type & 0x7f) == XCB_KEY_PRESS;
            std::free(event);
        }
        ms.push_back(double(clock.nsecsElapsed()) / 1e6);
        keyboard.lift(keyboard.code(Keyboard::t));
    }
    keyboard.lift(keyboard.code(Keyboard::alt));
    keyboard.lift(keyboard.code(Keyboard::ctrl));
    xcb_disconnect(c);
    return ms;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int presses = argc > 1 ? std::atoi(argv[1]) : 300;
    Keyboard keyboard;
    os::X11HotKeySource source;
    HotKeys keys(source);
    if (!keyboard.ready() || !source.available()) {
        std::fputs("bench_hot_keys: no X display with XTest\n", stderr);
        return 1;
    }

    std::vector<double> ms;
    QElapsedTimer clock;
    const auto press = [&] {
        keyboard.hold(keyboard.code(Keyboard::ctrl));
        keyboard.hold(keyboard.code(Keyboard::alt));
        clock.start();
        keyboard.hold(keyboard.code(Keyboard::r));
    };
    // The next press waits for the release, so that no press finds the last one still down.
    const bool ours = keys.registerKey(
        HotKeys::record, {'r', os::KeyCombination::ctrl | os::KeyCombination::alt},
        [&] {
            ms.push_back(double(clock.nsecsElapsed()) / 1e6);
            keyboard.lift(keyboard.code(Keyboard::r));
            keyboard.lift(keyboard.code(Keyboard::alt));
            keyboard.lift(keyboard.code(Keyboard::ctrl));
        },
        [&] {
            if (int(ms.size()) < presses)
                QTimer::singleShot(0, press);
            else
                QCoreApplication::quit();
        });
    if (!ours) {
        std::fputs("bench_hot_keys: Ctrl+Alt+R is taken on this display\n", stderr);
        return 1;
    }
    QTimer::singleShot(0, press);
    QCoreApplication::exec();

    print("Ctrl+Alt+R through XTest to the HotKeys handler (main loop)", figures(ms), ms.size() - 1);
    slow(ms);
    const std::vector<double> bare = reference(keyboard, presses);
    print("reference: the same press to a bare xcb client blocked on it", figures(bare), bare.size() - 1);
    slow(bare);
    return 0;
}
