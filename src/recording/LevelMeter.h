#pragma once

#include <QList>
#include <QtGlobal>

// Turns samples into a series of RMS values, one per window. A window that is not full yet is never emitted.
class LevelMeter {
public:
    explicit LevelMeter(double window = 0.25, int sampleRate = 48000);

    void feed(const float* samples, qint64 count);
    // Adds zero samples; the effect is that of feeding zeros, without a buffer of them.
    void feedSilence(qint64 frames);

    double window() const { return m_window; }
    qint64 per() const { return m_per; }
    const QList<float>& rms() const { return m_rms; }

private:
    void closeWindowIfFull();

    double m_window;
    qint64 m_per;
    QList<float> m_rms;
    double m_acc = 0;
    qint64 m_n = 0;
};
