#pragma once

#include "os/WindowSystem.h"
#include "os/linux/AppIdentities.h"

#include <QDBusConnection>
#include <QObject>
#include <QTemporaryFile>

namespace os {

// The active window under KWin's Wayland session, which tells no client about other programs' windows: a
// small KWin script, loaded through KWin's scripting interface at the first question, calls this object on
// the session bus whenever the active window or its caption changes. Only that window is known, so it is the
// whole list. When KWin refuses the script, the desktop tells nothing (logged once).
class KWinWindowSystem final : public QObject, public WindowSystem {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.orvane.KWinActiveWindow")
public:
    // `identities` must outlive the object.
    explicit KWinWindowSystem(AppIdentities& identities, QDBusConnection bus = QDBusConnection::sessionBus());
    ~KWinWindowSystem() override;

    QList<Window> windows() override;
    std::optional<Window> activeWindow() override;
    bool knowsFrontmost() const override { return m_scriptRuns.value_or(true); }

    static constexpr int timeoutMs = 1000;

public slots:
    // Called by the script: all strings, as the script's numbers would reach D-Bus as doubles. An empty pid:
    // no window is active.
    Q_SCRIPTABLE void Activated(const QString& pid, const QString& resourceClass, const QString& caption,
                                const QString& desktopFileName);

private:
    void loadScript();
    QString scriptText() const;

    AppIdentities& m_identities;
    QDBusConnection m_bus;
    QTemporaryFile m_script;
    std::optional<bool> m_scriptRuns; // nothing until the first question
    std::optional<Window> m_active;
};

} // namespace os
