#pragma once

#include <QString>
#include <stdexcept>

namespace os {

struct ScreenError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The screen as the capture sees it.
class ScreenSource {
public:
    virtual ~ScreenSource() = default;
    // How many displays can be read now; throws ScreenError when the screen cannot be read at all.
    virtual int readableDisplays() = 0;
};

} // namespace os
