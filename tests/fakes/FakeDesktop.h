#pragma once

#include "os/AudioSystem.h"
#include "os/IdleSource.h"
#include "os/ScreenSource.h"
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
    bool knowsFrontmost() const override { return knows; }
    bool knows = true;
};

struct FakeIdleSource : os::IdleSource {
    std::optional<double> seconds = 0;
    std::optional<double> idleSeconds() override { return seconds; }
};

// A screen that can be read, or not, as a test sets it.
struct FakeScreenSource : os::ScreenSource {
    bool readable = true;
    int readableDisplays() override {
        if (!readable) throw os::ScreenError("no display");
        return 1;
    }
    os::ScreenFrame grabPrimary() override {
        if (!readable) throw os::ScreenError("no display");
        return {QImage(4, 4, QImage::Format_RGB32), true};
    }
};
