#pragma once

#include "os/WindowSystem.h"

#include <QList>
#include <QString>
#include <optional>

// The desktop's windows and applications, read afresh at every question; a failed read is an empty list.
class Windows {
public:
    // A window, front to back in a list; `owner` is its application's display name.
    using Win = os::Window;

    explicit Windows(os::WindowSystem& system) : m_system(system) {}

    QList<Win> list() { return m_system.windows(); }
    // The first non-empty title among the windows of that process.
    std::optional<QString> frontTitle(qint32 pid) { return frontTitle(list(), pid); }
    static std::optional<QString> frontTitle(const QList<Win>& windows, qint32 pid);
    // The application in front, with its pid, identity and name (the title is left as read).
    std::optional<Win> frontmost() { return m_system.activeWindow(); }
    // False on a desktop that tells no program which app is in front.
    bool knowsFrontmost() const { return m_system.knowsFrontmost(); }
    // The applications that own windows, one entry per process, in the order of their front window.
    static QList<Win> running(const QList<Win>& windows);

private:
    os::WindowSystem& m_system;
};
