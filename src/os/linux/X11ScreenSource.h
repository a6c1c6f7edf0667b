#pragma once

#include "os/ScreenSource.h"

#include <memory>

namespace os {

// The X11 screen through xcb: what the display server lets a client read. Frames come through one shared-memory
// segment (MIT-SHM) that is kept between grabs, so a grab every two seconds for hours costs one copy each.
class X11ScreenSource final : public ScreenSource {
public:
    X11ScreenSource();
    ~X11ScreenSource() override;

    int readableDisplays() override;
    ScreenFrame grabPrimary() override;

private:
    struct Grabber;
    std::unique_ptr<Grabber> m_grabber;
};

} // namespace os
