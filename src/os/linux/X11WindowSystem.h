#pragma once

#include "os/WindowSystem.h"
#include "os/linux/AppIdentities.h"

#include <QHash>

#include <memory>
#include <vector>

namespace os {

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
    void fillMissingPids(Connection& c, std::vector<Properties>& windows);
    Window describe(const Properties& p);

    // What stays true of a window for its life: its process and, while its class is the same, its app.
    struct Known {
        qint32 pid = 0;
        QString windowClass;
        AppIdentity app;
    };

    AppIdentities& m_identities;
    std::unique_ptr<Connection> m_connection;
    QHash<quint32, Known> m_known;
};

} // namespace os
