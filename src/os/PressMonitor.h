#pragma once

#include <QObject>
#include <QPoint>

namespace os {

// Presses of the left or right mouse button anywhere on the screen, seen without grabbing the pointer: the
// press still reaches the window under it. Main thread only.
class PressMonitor : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // Reports presses from now on, until `stop`.
    virtual void start() = 0;
    virtual void stop() = 0;

signals:
    // Where the pointer stood, in screen coordinates.
    void pressed(QPoint global);
};

} // namespace os
