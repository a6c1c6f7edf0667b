#pragma once

#include <QImage>
#include <QString>
#include <stdexcept>

namespace os {

struct ScreenError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// One picture of the primary screen, cursor drawn in when the server gives its image, 32-bit BGRA
// (QImage::Format_RGB32). `complete` is false when part of the screen could not be read (a screen reaching
// past the X screen); a missing cursor leaves it complete.
struct ScreenFrame {
    QImage image;
    bool complete = false;
};

// The screen as the capture sees it. One instance serves one thread at a time.
class ScreenSource {
public:
    virtual ~ScreenSource() = default;
    // How many displays can be read now; throws ScreenError when the screen cannot be read at all.
    virtual int readableDisplays() = 0;
    // The primary screen now; throws ScreenError when it cannot be read.
    virtual ScreenFrame grabPrimary() = 0;
};

} // namespace os
