#pragma once

#include "os/ScreenSource.h"

#include <QSize>
#include <QString>
#include <functional>

namespace os {

// Frames of the primary screen at a steady pace for a recording, with this program's own windows painted
// out: a panel or a nudge of ours never shows in a recorded frame.
class FrameStream {
public:
    struct Receiver {
        // A frame, at most `maxWidth` wide (aspect kept), cursor drawn in. Runs on the stream's own thread.
        std::function<void(ScreenFrame frame)> frame;
        // The stream died (the display went away); no frame follows. Runs on the stream's own thread.
        std::function<void(const QString& error)> stopped;
        // Nothing on screen changed since the last frame, so none was taken: it still shows the screen. Comes
        // when a frame was due. Runs on the stream's own thread; may be empty.
        std::function<void()> unchanged;
    };

    virtual ~FrameStream() = default;
    // Starts the frames and returns the size they have now; a display resized later gives frames of its new
    // size. Throws ScreenError when there is no display to record.
    virtual QSize start(Receiver receiver) = 0;
    // After it returns no callback runs any more. Stopping a stream that does not run does nothing.
    virtual void stop() = 0;
};

} // namespace os
