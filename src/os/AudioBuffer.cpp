#include "os/AudioBuffer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace {
// Bytes of one plane: all channels when interleaved.
std::size_t planeBytes(const AudioBuffer& buffer) {
    const int perPlane = buffer.format.planar ? 1 : buffer.format.channels;
    return std::size_t(buffer.frames) * perPlane * buffer.format.bytesPerSample();
}

float sampleAt(const AudioBuffer& buffer, std::size_t index) {
    const void* plane = buffer.data.front();
    switch (buffer.format.type) {
    case SampleType::Int16:
        return float(static_cast<const int16_t*>(plane)[index]) / 32768.0f;
    case SampleType::Int32:
        return float(double(static_cast<const int32_t*>(plane)[index]) / 2147483648.0);
    case SampleType::Float32:
        return static_cast<const float*>(plane)[index];
    }
    return 0;
}

QString typeName(SampleType type) {
    switch (type) {
    case SampleType::Int16:
        return QStringLiteral("int16");
    case SampleType::Int32:
        return QStringLiteral("int32");
    case SampleType::Float32:
        return QStringLiteral("float32");
    }
    return QStringLiteral("unknown");
}
} // namespace

QString AudioFormat::description() const {
    return QStringLiteral("%1 Hz, %2 ch, %3, %4")
        .arg(sampleRate)
        .arg(channels)
        .arg(typeName(type), planar ? QStringLiteral("planar") : QStringLiteral("interleaved"));
}

bool AudioBuffer::allZero() const {
    const std::size_t bytes = planeBytes(*this);
    return std::all_of(data.begin(), data.end(), [bytes](const void* plane) {
        const char* p = static_cast<const char*>(plane);
        return std::all_of(p, p + bytes, [](char c) { return c == 0; });
    });
}

float AudioBuffer::sampledRms(int stride) const {
    if (frames <= 0 || data.empty()) return 0;
    const std::size_t step = std::size_t(stride) * (format.planar ? 1 : format.channels);
    const std::size_t end = std::size_t(frames) * (format.planar ? 1 : format.channels);
    double sum = 0;
    std::size_t n = 0;
    for (std::size_t i = 0; i < end; i += step, ++n) {
        const double v = sampleAt(*this, i);
        sum += v * v;
    }
    return float(std::sqrt(sum / double(n)));
}

AudioCopy::AudioCopy(const AudioBuffer& source) : m_buffer{source.format, source.frames, {}} {
    const std::size_t bytes = planeBytes(source);
    m_planes.reserve(source.data.size());
    for (const void* plane : source.data) {
        const char* p = static_cast<const char*>(plane);
        m_planes.emplace_back(p, p + bytes);
        m_buffer.data.push_back(m_planes.back().data());
    }
}
