#pragma once

#include <QString>
#include <memory>

class QLocalServer;

// One running copy per user: the D-Bus name on the session bus, or a local socket where there is no bus.
class SingleCopy {
public:
    static inline const QString busName = QStringLiteral("app.orvane.Orvane");

    SingleCopy();
    ~SingleCopy();
    // True when this process is the one copy; false when another copy holds the name.
    bool claim();

private:
    std::unique_ptr<QLocalServer> m_socket;
};
