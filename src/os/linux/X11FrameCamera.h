#pragma once

#include "os/ScreenSource.h"
#include "os/linux/X11Grabber.h"
#include "os/linux/X11OwnWindowEraser.h"
#include "os/linux/X11ScreenChanges.h"

namespace os {

// One connection to an X display that takes the frames of a recording: the primary screen with this program's
// windows painted out, narrowed to at most `maxWidth` (aspect kept, smooth scaling).
class X11FrameCamera {
public:
    // Throws ScreenError when the display cannot be opened.
    X11FrameCamera(const QString& display, int maxWidth);

    // Throws ScreenError; lost() tells whether the display went away.
    ScreenFrame take();
    // Whether a frame taken now could differ from the last one; see X11ScreenChanges.
    bool changed() { return m_changes.changed(); }
    bool lost() const { return m_grabber.lost(); }

private:
    X11Grabber m_grabber;
    X11OwnWindowEraser m_eraser;
    X11ScreenChanges m_changes;
    const int m_maxWidth;
};

} // namespace os
