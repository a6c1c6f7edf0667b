#pragma once

#include "os/IdleSource.h"

// The user's idle time, as the activity tick and the coach read it.
namespace Idle {
// Five minutes without input ends a stretch of activity.
inline constexpr double threshold = 300;

// Seconds since the last input; 0 when the system cannot tell, so that an unknown is taken as someone at
// work.
inline double seconds(os::IdleSource& source) {
    return source.idleSeconds().value_or(0);
}
} // namespace Idle
