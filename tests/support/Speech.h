#pragma once

#include "os/AudioCapture.h"

#include <pulse/error.h>
#include <pulse/simple.h>

#include <QtGlobal>
#include <atomic>
#include <cmath>
#include <numbers>
#include <thread>
#include <vector>

// A playback stream of 48 kHz mono floats into `sink` with a short server buffer (50 ms), so that its latency
// is small and known.
inline pa_simple* openPlayback(const char* sink, const char* name) {
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32NE, 48000, 1};
    pa_buffer_attr attributes{};
    attributes.maxlength = uint32_t(-1);
    attributes.tlength = uint32_t(pa_usec_to_bytes(50'000, &spec));
    attributes.prebuf = uint32_t(-1);
    attributes.minreq = uint32_t(-1);
    int error = 0;
    pa_simple* stream = pa_simple_new(nullptr, "orvane-test", PA_STREAM_PLAYBACK, sink, name, &spec, nullptr,
                                      &attributes, &error);
    if (!stream) qFatal("no playback into %s: %s", sink, pa_strerror(error));
    return stream;
}

// Sound played into a sink of the test's PulseAudio daemon. Writes block while the server's short buffer is
// full, so every call lasts about as long as what it plays, and the stream never runs dry between calls.
class Speech {
public:
    static constexpr int rate = 48000;
    static constexpr double amplitude = 0.3;

    explicit Speech(const char* sink) : m_stream(openPlayback(sink, "speech")) {
        // A lead of silence fills the server's buffer, so that the latency read before speaking is the real
        // one.
        pause(0.5);
    }
    ~Speech() {
        pause(0.2);
        int error = 0;
        pa_simple_drain(m_stream, &error);
        pa_simple_free(m_stream);
    }
    Speech(const Speech&) = delete;
    Speech& operator=(const Speech&) = delete;

    void pause(double seconds) {
        std::vector<float> zeros(blockFrames);
        for (qint64 frame = 0; frame < qint64(seconds * rate); frame += blockFrames)
            write(zeros);
    }

    // Syllables of a 220 Hz tone, four a second, for `seconds`; returns the monotonic time at which the first
    // is heard.
    double speak(double seconds) {
        return play(seconds, [](double t) {
            return std::abs(std::sin(std::numbers::pi * 4 * t)) * std::sin(2 * std::numbers::pi * 220 * t);
        });
    }
    // A steady 440 Hz tone, whose start is sharp; returns the monotonic time at which it is heard.
    double tone(double seconds) {
        return play(seconds, [](double t) { return std::sin(2 * std::numbers::pi * 440 * t); });
    }

private:
    static constexpr qint64 blockFrames = 480;

    template <typename Wave> double play(double seconds, Wave wave) {
        int error = 0;
        const double heardAt = os::monotonicSeconds() + double(pa_simple_get_latency(m_stream, &error)) / 1e6;
        std::vector<float> block(blockFrames);
        for (qint64 frame = 0; frame < qint64(seconds * rate); frame += blockFrames) {
            for (qint64 i = 0; i < blockFrames; ++i)
                block[size_t(i)] = float(amplitude * wave(double(frame + i) / rate));
            write(block);
        }
        return heardAt;
    }

    void write(const std::vector<float>& block) {
        int error = 0;
        pa_simple_write(m_stream, block.data(), block.size() * sizeof(float), &error);
    }

    pa_simple* m_stream = nullptr;
};

// A sink kept playing on a thread of its own until the object goes: syllables when `speaking`, else silence,
// which keeps an idle null sink and its monitor delivering at a short latency from the first moment.
class Playing {
public:
    Playing(const char* sink, bool speaking)
        : m_thread([this, sink, speaking] {
              Speech speech(sink);
              while (!m_done) {
                  if (speaking)
                      speech.speak(0.5);
                  else
                      speech.pause(0.5);
              }
          }) {}
    ~Playing() {
        m_done = true;
        m_thread.join();
    }
    Playing(const Playing&) = delete;
    Playing& operator=(const Playing&) = delete;

private:
    std::atomic<bool> m_done = false;
    std::thread m_thread;
};
