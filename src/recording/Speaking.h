#pragma once

#include "core/Span.h"
#include "recording/LevelTrack.h"

#include <QList>
#include <optional>

// When the user and when the other side spoke, from the levels of their tracks.
namespace Speaking {
// RMS above which a window counts as speech. The microphone's is higher: it also hears the room.
constexpr float tabThreshold = 0.006f;
constexpr float micThreshold = 0.018f;

struct Spans {
    QList<Span> mic;
    QList<Span> tab;
};

// A missing track counts as silence. Pure.
Spans spans(const std::optional<LevelTrack>& mic, const std::optional<LevelTrack>& tab, double window = 0.25,
            double mergeGap = 0.8, double minLen = 0.4);
} // namespace Speaking
