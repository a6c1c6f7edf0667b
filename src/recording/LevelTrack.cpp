#include "recording/LevelTrack.h"

#include <cmath>

float LevelTrack::value(double t) const {
    const double index = std::floor((t - offset) / window);
    if (!(index >= 0 && index < double(rms.size()))) return 0;
    return rms[qsizetype(index)];
}
