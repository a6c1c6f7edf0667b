#pragma once

#include "surfaces/NudgeDisplay.h"

#include <vector>

// Keeps every card it is given, so a test can read it and press its buttons; the last one shows until
// withdrawn.
class RecordingNudgeDisplay : public NudgeDisplay {
public:
    struct Shown {
        NudgeView view;
        std::optional<QRect> avoid;
    };

    void present(const NudgeView& view, std::optional<QRect> avoid) override {
        shown.push_back({view, avoid});
        onScreen = true;
    }
    void keepClearOf(std::optional<QRect> avoid) override { shown.back().avoid = avoid; }
    void withdraw() override { onScreen = false; }

    const NudgeView& last() const { return shown.back().view; }

    std::vector<Shown> shown; // never shrinks: a pressed button's closure lives on while it runs
    bool onScreen = false;
};
