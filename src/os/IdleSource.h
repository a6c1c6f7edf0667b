#pragma once

#include <optional>

namespace os {

// How long the user has not touched keyboard or mouse.
class IdleSource {
public:
    virtual ~IdleSource() = default;
    // Seconds since the last input event of any kind; nothing when the system cannot tell.
    virtual std::optional<double> idleSeconds() = 0;
};

} // namespace os
