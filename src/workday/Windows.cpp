#include "workday/Windows.h"

#include <QSet>

std::optional<QString> Windows::frontTitle(const QList<Win>& windows, qint32 pid) {
    for (const Win& w : windows) {
        if (w.pid == pid && !w.title.isEmpty()) return w.title;
    }
    return std::nullopt;
}

QList<Windows::Win> Windows::running(const QList<Win>& windows) {
    QList<Win> apps;
    QSet<qint32> seen;
    for (const Win& w : windows) {
        if (!seen.contains(w.pid)) {
            seen.insert(w.pid);
            apps.append(w);
        }
    }
    return apps;
}
