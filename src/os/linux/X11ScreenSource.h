#pragma once

#include "os/ScreenSource.h"

namespace os {

// The X11 screen through xcb: what the display server lets a client read.
class X11ScreenSource final : public ScreenSource {
public:
    int readableDisplays() override;
};

} // namespace os
