#pragma once

#include <QEvent>
#include <QEventLoop>
#include <QFile>
#include <QTimer>
#include <QWidget>

// What the window benchmarks read: when a view has painted, and how much memory the process holds.

// Waits for the next paint of `view`; false after ten seconds.
inline bool painted(QWidget& view) {
    struct Watch : QObject {
        QEventLoop loop;
        bool eventFilter(QObject*, QEvent* e) override {
            if (e->type() == QEvent::Paint) QTimer::singleShot(0, &loop, &QEventLoop::quit);
            return false;
        }
    } watch;
    view.installEventFilter(&watch);
    QTimer::singleShot(10000, &watch.loop, [&] { watch.loop.exit(1); });
    const bool ok = watch.loop.exec() == 0;
    view.removeEventFilter(&watch);
    return ok;
}

inline double residentMB() {
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly)) return 0;
    return statm.readAll().split(' ').value(1).toDouble() * 4096 / (1024 * 1024);
}
