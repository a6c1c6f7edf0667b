#pragma once

#include <QDBusConnection>
#include <QSize>
#include <QString>

namespace os {

// One share of the primary monitor through the desktop's ScreenCast portal. The first share asks the user
// which monitor; the portal then gives a restore token, and a later share with it starts without a dialog.
// Throws ScreenError: the user's refusal says "declined", so the app shows its permission alert.
class ScreenCastPortal {
public:
    struct Share {
        int pipeWireFd = -1; // this process owns it
        quint32 node = 0;    // the PipeWire node of the monitor's stream
        QSize size;          // as the portal reports it; may be empty
        QString restoreToken;
    };

    // Whether the session bus has the portal at all.
    static bool available(const QDBusConnection& bus);

    explicit ScreenCastPortal(QDBusConnection bus);
    ~ScreenCastPortal();
    ScreenCastPortal(const ScreenCastPortal&) = delete;
    ScreenCastPortal& operator=(const ScreenCastPortal&) = delete;

    // Opens the session and starts the share, with `restoreToken` from an earlier one when there is one.
    Share open(const QString& restoreToken);
    // Ends the session; the portal stops the stream. Also done by the destructor.
    void close();

private:
    QDBusConnection m_bus;
    QString m_session; // the session's object path while one is open
};

} // namespace os
