#include "recording/Mixer.h"

#include "core/Log.h"
#include "recording/AacFile.h"
#include "recording/AudioError.h"
#include "recording/MonoDecoder.h"
#include "recording/MonoWriter.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cmath>
#include <vector>

extern "C" {
#include <libavformat/avformat.h>
}

namespace {
constexpr int rate = MonoWriter::sampleRate;
constexpr qint64 blockFrames = 4800;

// One input on the output timeline: its samples from `start` on, pulled from the decoder as they are needed.
class PlacedTrack {
public:
    explicit PlacedTrack(const Mixer::Input& input)
        : m_decoder(input.path, rate), m_start(std::llround(std::max(input.offset, 0.0) * rate)) {}

    qint64 start() const { return m_start; }
    bool ended() const { return m_ended; }
    // Adds the track's samples for output frames [at, at + count) into `mix`; returns the frame after the
    // last one it covered, or `at` when it starts later.
    qint64 addInto(float* mix, qint64 at, qint64 count) {
        if (m_start >= at + count) return at;
        qint64 frame = std::max(at, m_start);
        while (frame < at + count && take()) {
            const qint64 n = std::min(qint64(m_pending.size()), at + count - frame);
            for (qint64 i = 0; i < n; ++i)
                mix[frame - at + i] += m_pending[size_t(i)];
            m_pending = m_pending.subspan(size_t(n));
            frame += n;
        }
        return frame;
    }

private:
    bool take() {
        while (m_pending.empty() && !m_ended)
            m_ended = !m_decoder.next(m_pending);
        return !m_pending.empty();
    }

    MonoDecoder m_decoder;
    qint64 m_start;
    std::span<const float> m_pending;
    bool m_ended = false;
};

std::vector<std::unique_ptr<PlacedTrack>> open(const QList<Mixer::Input>& inputs) {
    std::vector<std::unique_ptr<PlacedTrack>> tracks;
    for (const Mixer::Input& input : inputs) {
        try {
            tracks.push_back(std::make_unique<PlacedTrack>(input));
        } catch (const AudioError& error) {
            slog(QStringLiteral("mix: skipping ") + error.text());
        }
    }
    return tracks;
}

void encode(std::vector<std::unique_ptr<PlacedTrack>>& tracks, const QString& to) {
    AacFile file(to, rate, MonoWriter::bitRate);
    std::vector<float> block(blockFrames);
    qint64 at = 0;
    for (;;) {
        std::erase_if(tracks, [](const auto& track) { return track->ended(); });
        if (tracks.empty()) break;
        const qint64 firstStart =
            (*std::min_element(tracks.begin(), tracks.end(), [](const auto& a, const auto& b) {
                return a->start() < b->start();
            }))->start();
        // Before any track starts the output is silence, which costs next to nothing to write.
        if (firstStart > at) {
            file.writeSilence(firstStart - at);
            at = firstStart;
        }
        std::fill(block.begin(), block.end(), 0.0f);
        qint64 filled = at;
        for (const auto& track : tracks)
            filled = std::max(filled, track->addInto(block.data(), at, blockFrames));
        // Tracks overlap freely; their sum is kept within full scale.
        for (float& sample : block)
            sample = std::clamp(sample, -1.0f, 1.0f);
        if (filled > at) file.write(block.data(), filled - at);
        at = filled;
    }
    file.finish();
}
} // namespace

void Mixer::mix(const QList<Input>& inputs, const QString& to) {
    std::vector<std::unique_ptr<PlacedTrack>> tracks = open(inputs);
    if (tracks.empty()) throw AudioError(AudioError::Kind::Export, QStringLiteral("nothing to mix"));
    QFile::remove(to);
    try {
        encode(tracks, to);
    } catch (const AudioError& error) {
        // Half a mix is worse than none: the recording falls back to one of its tracks.
        QFile::remove(to);
        throw AudioError(AudioError::Kind::Export, QStringLiteral("export failed: ") + error.text());
    }
}

double Mixer::duration(const QString& path) {
    const QByteArray file = QFile::encodeName(path);
    AVFormatContext* input = nullptr;
    if (avformat_open_input(&input, file.constData(), nullptr, nullptr) < 0) return 0;
    double seconds = 0;
    // An AAC track starts before time zero by the encoder's priming, which is no part of its length.
    if (avformat_find_stream_info(input, nullptr) >= 0 && input->duration > 0)
        seconds = double(input->duration + (input->start_time == AV_NOPTS_VALUE ? 0 : input->start_time)) /
                  AV_TIME_BASE;
    avformat_close_input(&input);
    return seconds;
}
