#pragma once

#include <QObject>
#include <chrono>
#include <functional>
#include <optional>

// The shared level and activity of a recording: the microphone's level for the orb and meters, the moment of
// the last new feed row, and whether anything is live at all. One instance, made by the app and handed to its
// views.
class LiveMeter : public QObject {
    Q_OBJECT
public:
    using Clock = std::chrono::steady_clock;

    explicit LiveMeter(std::function<Clock::time_point()> now = &Clock::now, QObject* parent = nullptr);

    // The level in decibels mapped onto 0...1: -52 dB and below is 0, -12 dB and above is 1.
    static float levelOf(float rms);

    float mic() const { return m_mic; }
    std::optional<Clock::time_point> pulseAt() const { return m_pulseAt; }
    bool active() const { return m_active; }

    // A new microphone level: the meter rises at once and falls smoothly.
    void feedMic(float rms);
    // Marks now as the moment of the last new row.
    void pulse();
    void setActive(bool active);

signals:
    void changed();

private:
    std::function<Clock::time_point()> m_now;
    float m_mic = 0;
    std::optional<Clock::time_point> m_pulseAt;
    bool m_active = false;
};
