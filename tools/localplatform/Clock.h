#pragma once

#include <chrono>
#include <cstdint>

// Seconds since the epoch, the unit the store keeps deadlines in.
inline std::int64_t secondsNow() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}
