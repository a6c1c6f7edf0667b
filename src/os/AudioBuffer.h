#pragma once

#include <QString>
#include <vector>

enum class SampleType { Int16, Int32, Float32 };

// How the samples of a buffer are laid out, as a capture source delivers them.
struct AudioFormat {
    SampleType type = SampleType::Float32;
    int sampleRate = 48000;
    int channels = 1;
    // Planar: one array per channel; otherwise the channels are interleaved in one array.
    bool planar = false;

    bool operator==(const AudioFormat&) const = default;
    // "44100 Hz, 2 ch, int16, interleaved"
    QString description() const;
    int bytesPerSample() const { return type == SampleType::Int16 ? 2 : 4; }
};

// A run of samples handed to a writer. It does not own them: they must stay valid during the call that takes
// it.
struct AudioBuffer {
    AudioFormat format;
    int frames = 0;
    // Interleaved: one pointer to frames × channels samples; planar: one pointer per channel.
    std::vector<const void*> data;

    // Whether every sample is an exact zero: what a muted or disconnected input delivers.
    bool allZero() const;
    // The RMS of every `stride`-th sample of the first channel, as a float in -1...1.
    float sampledRms(int stride) const;
};

// A buffer that owns its samples, for work that runs after the source reused its own.
class AudioCopy {
public:
    explicit AudioCopy(const AudioBuffer& source);
    AudioCopy(const AudioCopy& other) : AudioCopy(other.buffer()) {}
    AudioCopy& operator=(const AudioCopy&) = delete;

    const AudioBuffer& buffer() const { return m_buffer; }

private:
    std::vector<std::vector<char>> m_planes;
    AudioBuffer m_buffer;
};
