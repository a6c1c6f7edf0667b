#pragma once

#include "os/PressMonitor.h"

// Clicks anywhere, in memory: a test clicks by emitting `pressed`; `watching` says whether anyone listens.
class FakePressMonitor final : public os::PressMonitor {
public:
    void start() override { watching = true; }
    void stop() override { watching = false; }

    bool watching = false;
};
