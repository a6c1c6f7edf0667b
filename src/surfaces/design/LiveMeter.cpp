#include "surfaces/design/LiveMeter.h"

#include <algorithm>
#include <cmath>

LiveMeter::LiveMeter(std::function<Clock::time_point()> now, QObject* parent)
    : QObject(parent), m_now(std::move(now)) {}

float LiveMeter::levelOf(float rms) {
    const float decibels = 20 * std::log10(std::max(rms, 0.00001f));
    return std::clamp((decibels + 52) / 40, 0.0f, 1.0f);
}

void LiveMeter::feedMic(float rms) {
    const float level = levelOf(rms);
    m_mic = level >= m_mic ? level : 0.14f * level + 0.86f * m_mic;
    emit changed();
}

void LiveMeter::pulse() {
    m_pulseAt = m_now();
    emit changed();
}

void LiveMeter::setActive(bool active) {
    if (active == m_active) return;
    m_active = active;
    emit changed();
}
