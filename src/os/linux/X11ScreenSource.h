#pragma once

#include "os/ScreenSource.h"

#include <memory>

namespace os {

class X11Grabber;

// The X11 screen through xcb: what the display server lets a client read, through one X11Grabber kept between
// grabs.
class X11ScreenSource final : public ScreenSource {
public:
    X11ScreenSource();
    ~X11ScreenSource() override;

    int readableDisplays() override;
    ScreenFrame grabPrimary() override;

private:
    std::unique_ptr<X11Grabber> m_grabber;
};

} // namespace os
