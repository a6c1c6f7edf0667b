#pragma once

#include "surfaces/NudgeView.h"

#include <QRect>
#include <optional>

// Where nudges appear: a window on the screen in the app, a record of calls in tests.
class NudgeDisplay {
public:
    virtual ~NudgeDisplay() = default;
    // Shows the card, replacing nothing: the caller withdraws the previous one first. `avoid` is a screen
    // area the card keeps clear of.
    virtual void present(const NudgeView& view, std::optional<QRect> avoid) = 0;
    // Moves the card on screen, if one shows, to keep clear of `avoid` as it is now.
    virtual void keepClearOf(std::optional<QRect> avoid) = 0;
    // Takes the card away, if one shows. Safe to call from within one of the card's own buttons.
    virtual void withdraw() = 0;
};
