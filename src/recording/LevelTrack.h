#pragma once

#include <QList>

// A series of RMS levels placed on the recording timeline.
struct LevelTrack {
    double offset = 0;
    QList<float> rms;
    double window = 0.25;

    double end() const { return double(rms.size()) * window + offset; }
    // The level of the window that holds `t`; 0 before the first window and from `end` on.
    float value(double t) const;
};
