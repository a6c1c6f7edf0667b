#pragma once

#include "core/SerialQueue.h"
#include "os/ScreenSource.h"

#include <QByteArray>
#include <QObject>
#include <functional>
#include <memory>
#include <optional>

// A picture of the primary screen for the voice command that takes one. Grabs run on a thread of their own,
// made on the first grab; the answer comes back on the thread of this object (the main thread).
class ScreenGrab : public QObject {
    Q_OBJECT
public:
    using Completion = std::function<void(std::optional<QByteArray>)>;

    // `grab` reads the primary screen, on a thread of the grab's own; it throws os::ScreenError.
    explicit ScreenGrab(std::function<os::ScreenFrame()> grab);
    ~ScreenGrab() override;

    // JPEG at the pins' quality and width, or nothing when the screen cannot be read (logged).
    void mainDisplay(Completion completion);

private:
    std::function<os::ScreenFrame()> m_grab;
    std::unique_ptr<SerialQueue> m_queue;
};
