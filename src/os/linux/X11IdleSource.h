#pragma once

#include "os/IdleSource.h"

namespace os {

// The MIT-SCREEN-SAVER extension's time since the last user input.
class X11IdleSource final : public IdleSource {
public:
    std::optional<double> idleSeconds() override;
};

} // namespace os
