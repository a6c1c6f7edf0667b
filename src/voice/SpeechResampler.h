#pragma once

#include "os/AudioBuffer.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

class MonoConverter;

// Turns microphone buffers of any format into what a speech decoder takes: 16 kHz, mono, signed 16-bit. The
// converter keeps its state between calls, so a stream cut into buffers converts as one; a change of format
// starts a new one. One thread at a time.
class SpeechResampler {
public:
    SpeechResampler();
    ~SpeechResampler();
    SpeechResampler(const SpeechResampler&) = delete;
    SpeechResampler& operator=(const SpeechResampler&) = delete;

    // Appends the buffer's speech samples to `out`. False, with one log line per format, when the buffer
    // cannot be converted; `out` is then unchanged.
    bool convert(const AudioBuffer& buffer, std::vector<int16_t>& out);

private:
    std::unique_ptr<MonoConverter> m_converter;
    std::optional<AudioFormat> m_from;
    std::optional<AudioFormat> m_refused;
    std::vector<float> m_mono;
};
