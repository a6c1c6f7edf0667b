#include "recording/MonoWriter.h"

#include "core/Log.h"
#include "recording/AacFile.h"
#include "recording/AudioError.h"
#include "recording/FFmpegText.h"
#include "recording/MonoConverter.h"

#include "os/CpuStages.h"

#include <QFileInfo>
#include <algorithm>
#include <utility>

namespace {
// Gaps up to this are jitter of the source, not missing audio.
constexpr double padAbove = 0.05;
// A longer gap is a suspended machine or a broken clock: an hour of silence is the most a track takes.
constexpr double padAtMost = 3600;
// Timeline values carry rounding noise; this slack keeps a gap of exactly 0.05 s unpadded and 0.06 s from
// coming out a frame short.
constexpr double slack = 1e-9;

// Mono is the same in memory whether called planar or interleaved.
bool isWriterFormat(const AudioFormat& format) {
    return format.type == MonoWriter::format.type && format.sampleRate == MonoWriter::format.sampleRate &&
           format.channels == MonoWriter::format.channels;
}
} // namespace

MonoWriter::MonoWriter(QString path) : m_path(std::move(path)) {}

MonoWriter::~MonoWriter() {
    close();
}

void MonoWriter::write(const AudioBuffer& buffer, std::optional<double> at) {
    if (buffer.frames <= 0) return;
    try {
        using os::cpustages::Scope, os::cpustages::Stage;
        qint64 frames = 0;
        const float* mono = nullptr;
        {
            Scope converting(Stage::Conversion);
            mono = toMono(buffer, frames);
        }
        // Digital silence (an idle sink's monitor, a muted microphone) is not encoded: it is written as a gap
        // is, mostly as copies of one packet of silence.
        const bool silent = std::all_of(mono, mono + frames, [](float x) { return x == 0.0f; });
        {
            Scope encoding(Stage::AacEncoding);
            place(at);
            if (silent) {
                addSilence(frames);
            } else {
                writeHeldSilence();
                file().write(mono, frames);
                m_framesWritten += frames;
            }
        }
        if (!silent) {
            Scope metering(Stage::Metering);
            m_meter.feed(mono, frames);
        }
        const double span = double(frames) / sampleRate;
        m_nextTime = at ? *at + span : m_nextTime.value_or(m_offset.value_or(0)) + span;
    } catch (const AudioError& error) {
        fail(error.text());
    }
}

const float* MonoWriter::toMono(const AudioBuffer& buffer, qint64& frames) {
    const AudioFormat& from = buffer.format;
    if (buffer.data.size() != size_t(from.planar ? from.channels : 1) ||
        std::count(buffer.data.begin(), buffer.data.end(), nullptr) > 0)
        throw AudioError(AudioError::Kind::Convert,
                         QStringLiteral("buffer does not match ") + from.description());
    if (isWriterFormat(from)) {
        frames = buffer.frames;
        return static_cast<const float*>(buffer.data.front());
    }
    if (!m_converter || m_convFrom != from) {
        m_converter = MonoConverter::create(from, sampleRate);
        m_convFrom.reset();
        if (!m_converter)
            throw AudioError(AudioError::Kind::Convert,
                             QStringLiteral("no converter from ") + from.description());
        m_convFrom = from;
        ++m_convertersBuilt;
    }
    const int failed = m_converter->convert(reinterpret_cast<const quint8* const*>(buffer.data.data()),
                                            buffer.frames, m_mono);
    if (failed < 0)
        throw AudioError(AudioError::Kind::Convert,
                         QStringLiteral("convert failed: ") + ffmpegErrorText(failed));
    frames = qint64(m_mono.size());
    return m_mono.data();
}

void MonoWriter::place(std::optional<double> at) {
    if (!m_offset) {
        m_offset = at && *at >= 0 ? *at : 0;
        return;
    }
    // An overlap (a negative gap) is ignored: the buffer follows the previous one straight away.
    if (at && m_nextTime) {
        const double gap = *at - *m_nextTime;
        if (gap > padAbove + slack) writeSilence(std::min(gap, padAtMost));
    }
}

void MonoWriter::writeSilence(double seconds) {
    addSilence(qint64(seconds * sampleRate + slack));
}

void MonoWriter::addSilence(qint64 frames) {
    if (frames < 1) return;
    // As for sound: a closed track takes no more, and the file is there from the first write on.
    file();
    m_heldSilence += frames;
    m_framesWritten += frames;
    // The meter stays in step with the file, so level windows keep their place on the timeline across gaps.
    m_meter.feedSilence(frames);
}

void MonoWriter::writeHeldSilence() {
    if (m_heldSilence > 0) file().writeSilence(std::exchange(m_heldSilence, 0));
}

AacFile& MonoWriter::file() {
    if (m_closed) throw AudioError(AudioError::Kind::Format, QStringLiteral("the track is closed"));
    if (!m_file) m_file = std::make_unique<AacFile>(m_path, sampleRate, bitRate);
    return *m_file;
}

void MonoWriter::close() {
    m_converter.reset();
    m_convFrom.reset();
    if (m_file && !m_closed) {
        try {
            writeHeldSilence();
        } catch (const AudioError& error) {
            fail(error.text());
        }
    }
    m_closed = true;
    if (!m_file) return;
    const std::unique_ptr<AacFile> finishing = std::move(m_file);
    try {
        finishing->finish();
    } catch (const AudioError& error) {
        fail(error.text());
    }
}

bool MonoWriter::hasAudio() const {
    return m_framesWritten > sampleRate / 4 && QFileInfo::exists(m_path);
}

void MonoWriter::fail(const QString& text) {
    // A failing track logs once; later failures only replace the text.
    if (!m_lastError)
        slog(QStringLiteral("audio write ") + QFileInfo(m_path).fileName() + QStringLiteral(": ") + text);
    m_lastError = text;
}
