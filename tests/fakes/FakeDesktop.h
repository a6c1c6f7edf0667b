#pragma once

#include "os/AudioSystem.h"
#include "os/IdleSource.h"
#include "os/WindowSystem.h"

// The microphone's users, the windows and idle time, as a test sets them.
struct FakeAudioSystem : os::AudioSystem {
    std::optional<os::InputState> state = os::InputState{QStringLiteral("mic"), {}};
    int reads = 0;
    std::optional<os::InputState> inputState() override {
        ++reads;
        return state;
    }
};

struct FakeWindowSystem : os::WindowSystem {
    QList<os::Window> list; // front to back
    std::optional<os::Window> active;
    QList<os::Window> windows() override { return list; }
    std::optional<os::Window> activeWindow() override { return active; }
};

struct FakeIdleSource : os::IdleSource {
    std::optional<double> seconds = 0;
    std::optional<double> idleSeconds() override { return seconds; }
};
