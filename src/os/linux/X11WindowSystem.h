#pragma once

#include "os/WindowSystem.h"

#include <memory>
#include <vector>

namespace os {

class AppIdentities;

// Windows as an EWMH window manager lists them, on an X connection of its own. The connection is made at the
// first question and made anew after the X server has gone away.
class X11WindowSystem final : public WindowSystem {
public:
    explicit X11WindowSystem(AppIdentities& identities);
    ~X11WindowSystem() override;

    QList<Window> windows() override;
    std::optional<Window> activeWindow() override;

private:
    struct Connection;
    struct Properties;
    Connection* connection();
    std::vector<Properties> read(Connection& c, const std::vector<quint32>& ids);
    Window describe(const Properties& p);

    AppIdentities& m_identities;
    std::unique_ptr<Connection> m_connection;
};

} // namespace os
