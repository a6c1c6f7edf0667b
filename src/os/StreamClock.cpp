#include "os/StreamClock.h"

#include <algorithm>
#include <cmath>

namespace os {

double StreamClock::place(double captured, qint64 frames) {
    if (!m_anchor) {
        m_anchor = captured;
        ++m_anchors;
    }
    m_earliest = std::min(m_earliest, captured - (*m_anchor + double(m_counted) / m_rate));
    m_sinceCheck += frames;
    if (m_sinceCheck >= m_rate) {
        if (std::abs(m_earliest) > maxDrift) {
            *m_anchor += m_earliest;
            ++m_anchors;
        }
        m_earliest = std::numeric_limits<double>::infinity();
        m_sinceCheck = 0;
    }
    const double at = *m_anchor + double(m_counted) / m_rate;
    m_counted += frames;
    return at;
}

} // namespace os
