#pragma once

#include <QtGlobal>
#include <limits>
#include <optional>

namespace os {

// Places the buffers of one capture stream on the monotonic timeline. The first buffer is anchored where the
// clock says it was captured; later ones follow by counting frames at the nominal rate, which keeps their
// times free of the jitter of each read. A sound card's crystal runs a little fast or slow (0.1 % is 4 s an
// hour), and a server may drop samples, so the count is checked against the clock every second of frames and
// moved when it is off by more than `maxDrift`.
//
// A read can come late, never early: a busy machine makes the clock's time of a buffer later than the truth,
// so the check takes the earliest reading of its second as the clock's word, and a late read alone never
// moves the count.
class StreamClock {
public:
    static constexpr double maxDrift = 0.05;

    explicit StreamClock(int sampleRate) : m_rate(sampleRate) {}

    // `captured`: when the clock says the buffer's first sample was captured. Returns the buffer's time and
    // counts its `frames`.
    double place(double captured, qint64 frames);
    // How often the count was set: once at the start, and once for each correction.
    int anchors() const { return m_anchors; }

private:
    int m_rate;
    std::optional<double> m_anchor;
    qint64 m_counted = 0;
    int m_anchors = 0;
    // The earliest reading of the clock against the count since the last check, and the frames since then.
    double m_earliest = std::numeric_limits<double>::infinity();
    qint64 m_sinceCheck = 0;
};

} // namespace os
