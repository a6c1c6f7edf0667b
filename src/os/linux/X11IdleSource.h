#pragma once

#include "os/IdleSource.h"

#include <memory>

struct xcb_connection_t;

namespace os {

// The MIT-SCREEN-SAVER extension's time since the last user input, on an X connection of its own that is kept
// between questions and made anew after the X server has gone away.
class X11IdleSource final : public IdleSource {
public:
    X11IdleSource();
    ~X11IdleSource() override;

    std::optional<double> idleSeconds() override;

private:
    struct Connection;
    Connection* connection();

    std::unique_ptr<Connection> m_connection;
    bool m_saidNoExtension = false;
};

} // namespace os
