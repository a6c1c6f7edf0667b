#include "voice/SpeechResampler.h"

#include "core/Log.h"
#include "os/SpeechEngine.h"
#include "recording/FFmpegText.h"
#include "recording/MonoConverter.h"

#include <algorithm>
#include <cmath>

SpeechResampler::SpeechResampler() = default;
SpeechResampler::~SpeechResampler() = default;

bool SpeechResampler::convert(const AudioBuffer& buffer, std::vector<int16_t>& out) {
    const AudioFormat& from = buffer.format;
    if (buffer.frames <= 0) return true;
    auto refuse = [&](const QString& why) {
        if (m_refused != from)
            slog(QStringLiteral("hearing: cannot convert %1: %2").arg(from.description(), why));
        m_refused = from;
        return false;
    };
    if (buffer.data.size() != size_t(from.planar ? from.channels : 1) ||
        std::count(buffer.data.begin(), buffer.data.end(), nullptr) > 0)
        return refuse(QStringLiteral("the buffer does not match its format"));
    if (!m_converter || m_from != from) {
        m_from.reset();
        m_converter = MonoConverter::create(from, os::speechSampleRate);
        if (!m_converter) return refuse(QStringLiteral("no converter"));
        m_from = from;
    }
    const int failed = m_converter->convert(reinterpret_cast<const quint8* const*>(buffer.data.data()),
                                            buffer.frames, m_mono);
    if (failed < 0) return refuse(ffmpegErrorText(failed));
    out.reserve(out.size() + m_mono.size());
    for (float sample : m_mono)
        out.push_back(int16_t(std::lround(std::clamp(sample, -1.0f, 32767.0f / 32768.0f) * 32768.0f)));
    return true;
}
