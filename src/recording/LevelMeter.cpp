#include "recording/LevelMeter.h"

#include <algorithm>
#include <cmath>

LevelMeter::LevelMeter(double window, int sampleRate)
    : m_window(window), m_per(std::max<qint64>(1, qint64(window * sampleRate))) {}

void LevelMeter::feed(const float* samples, qint64 count) {
    for (qint64 i = 0; i < count; ++i) {
        const double x = samples[i];
        m_acc += x * x;
        ++m_n;
        closeWindowIfFull();
    }
}

void LevelMeter::feedSilence(qint64 frames) {
    while (frames > 0) {
        const qint64 step = std::min(frames, m_per - m_n);
        m_n += step;
        frames -= step;
        closeWindowIfFull();
    }
}

void LevelMeter::closeWindowIfFull() {
    if (m_n < m_per) return;
    m_rms.append(float(std::sqrt(m_acc / double(m_n))));
    m_acc = 0;
    m_n = 0;
}
