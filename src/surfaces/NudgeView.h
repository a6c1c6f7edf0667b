#pragma once

#include "surfaces/design/Tone.h"

#include <QString>
#include <functional>
#include <optional>
#include <vector>

struct NudgeButton {
    QString title;
    bool primary = false;
    std::function<void()> action;
};

// A nudge's tag chip, from its kind.
struct NudgeTag {
    QString text;
    Tone tone = Tone::plain;
};

// What one nudge card shows, and what its close button does.
struct NudgeView {
    QString icon; // a short glyph
    QString title;
    std::optional<QString> message;
    std::vector<NudgeButton> buttons;
    bool stacked = false; // buttons under each other
    std::optional<QString> tag;
    Tone tone = Tone::plain;
    std::function<void()> close;

    // The tag of each kind of nudge; none for a kind not in the table.
    static std::optional<NudgeTag> tagFor(const QString& kind);
};
