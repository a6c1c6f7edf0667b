#pragma once

#include "os/AudioBuffer.h"
#include "recording/MonoWriter.h"

#include <QtGlobal>
#include <cmath>
#include <limits>
#include <numbers>
#include <type_traits>
#include <vector>

// Test signals: sines in every sample type and layout a capture source may deliver.
namespace Tone {
constexpr double hz = 440;

inline double sample(qint64 frame, int rate, double amplitude) {
    return amplitude * std::sin(2 * std::numbers::pi * hz * double(frame) / rate);
}

template <typename T> T scaled(double x) {
    if constexpr (std::is_floating_point_v<T>)
        return T(x);
    else
        return T(std::lround(x * double(std::numeric_limits<T>::max())));
}

// Samples of one buffer, owned, with the AudioBuffer that points at them.
struct Block {
    std::vector<std::vector<char>> planes;
    AudioBuffer buffer;

    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    Block(Block&&) = default;
    Block() = default;
};

// `frames` frames from frame `first` of a sine with `amplitude` in every channel; `channelGain` scales
// channel c.
template <typename T>
Block make(const AudioFormat& format, qint64 first, int frames, double amplitude,
           const std::vector<double>& channelGain) {
    Block block;
    block.buffer.format = format;
    block.buffer.frames = frames;
    const int planes = format.planar ? format.channels : 1;
    const int perPlane = format.planar ? 1 : format.channels;
    block.planes.assign(size_t(planes), std::vector<char>(size_t(frames) * size_t(perPlane) * sizeof(T)));
    for (int f = 0; f < frames; ++f) {
        const double x = sample(first + f, format.sampleRate, amplitude);
        for (int c = 0; c < format.channels; ++c) {
            const double gain = size_t(c) < channelGain.size() ? channelGain[size_t(c)] : 1.0;
            T* plane = reinterpret_cast<T*>(block.planes[size_t(format.planar ? c : 0)].data());
            plane[format.planar ? f : f * format.channels + c] = scaled<T>(x * gain);
        }
    }
    for (const std::vector<char>& plane : block.planes)
        block.buffer.data.push_back(plane.data());
    return block;
}

inline Block make(const AudioFormat& format, qint64 first, int frames, double amplitude,
                  const std::vector<double>& channelGain = {}) {
    switch (format.type) {
    case SampleType::Int16:
        return make<qint16>(format, first, frames, amplitude, channelGain);
    case SampleType::Int32:
        return make<qint32>(format, first, frames, amplitude, channelGain);
    case SampleType::Float32:
        break;
    }
    return make<float>(format, first, frames, amplitude, channelGain);
}

inline AudioFormat mono48k() {
    return AudioFormat{SampleType::Float32, 48000, 1, false};
}

// Writes `seconds` of the tone (of silence at amplitude 0) from `at` on the timeline, in 10 ms buffers of
// `format` that each carry their own time, as a capture source hands them over.
inline void write(MonoWriter& writer, double at, double seconds, double amplitude,
                  const AudioFormat& format = mono48k(), const std::vector<double>& channelGain = {}) {
    const int perBuffer = format.sampleRate / 100;
    for (int i = 0; i < int(std::lround(seconds * 100)); ++i) {
        const Block block = make(format, qint64(i) * perBuffer, perBuffer, amplitude, channelGain);
        writer.write(block.buffer, at + i * 0.01);
    }
}
} // namespace Tone
