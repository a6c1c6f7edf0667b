#pragma once

#include "os/PressMonitor.h"

#include <QSocketNotifier>
#include <memory>

struct xcb_connection_t;

namespace os {

// XInput 2 raw button presses on the root window, on an X connection of its own that the main loop reads.
// Raw events come to every client that asks, whichever window the press lands on and whoever grabs the
// pointer, and they take nothing from anyone. Without XInput 2 or an X display it reports nothing.
class X11PressMonitor final : public PressMonitor {
public:
    // `display` empty: $DISPLAY.
    explicit X11PressMonitor(const QString& display = {}, QObject* parent = nullptr);
    ~X11PressMonitor() override;

    void start() override;
    void stop() override;

private:
    void select(bool presses);
    void readEvents();

    xcb_connection_t* m_c = nullptr;
    quint32 m_root = 0;
    quint8 m_xinput = 0; // the extension's major opcode, 0 when the server has no XInput 2
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace os
