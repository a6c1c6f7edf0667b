#pragma once

#include "os/AudioBuffer.h"
#include "recording/LevelMeter.h"

#include <QString>
#include <memory>
#include <optional>

class AacFile;
class MonoConverter;

// Writes one audio track of a recording: buffers of any format become one 48 kHz mono AAC file that lines up
// with the recording timeline. Gaps between buffers are filled with silence, and levels are measured on the
// way. Used from one thread at a time; it has no lock.
class MonoWriter {
public:
    static constexpr int sampleRate = 48000;
    static constexpr int bitRate = 64000;
    // What the file holds, and what is written without conversion.
    static constexpr AudioFormat format{SampleType::Float32, sampleRate, 1, true};

    // No file is made until the first write.
    explicit MonoWriter(QString path);
    // Closes the file.
    ~MonoWriter();
    MonoWriter(const MonoWriter&) = delete;
    MonoWriter& operator=(const MonoWriter&) = delete;

    // `at`: timeline position of the buffer's first sample. Never throws: a failure lands in `lastError`, is
    // logged if it is the track's first, and the next buffer tries again.
    void write(const AudioBuffer& buffer, std::optional<double> at);
    // Appends `seconds` of zeros. Throws AudioError.
    void writeSilence(double seconds);
    // Finishes the file and drops the converter. The counters stay.
    void close();

    const QString& path() const { return m_path; }
    const LevelMeter& meter() const { return m_meter; }
    std::optional<double> offset() const { return m_offset; }
    qint64 framesWritten() const { return m_framesWritten; }
    std::optional<double> nextTime() const { return m_nextTime; }
    const std::optional<QString>& lastError() const { return m_lastError; }
    // How many converters were built: one per change of the input format.
    int convertersBuilt() const { return m_convertersBuilt; }

    double duration() const { return double(m_framesWritten) / sampleRate; }
    // More than a quarter of a second was written, and the file is there.
    bool hasAudio() const;

private:
    // The buffer's samples as 48 kHz mono, converted into `m_mono` when they are not that already.
    const float* toMono(const AudioBuffer& buffer, qint64& frames);
    void place(std::optional<double> at);
    // Silence is held back and written in one piece when sound follows or the track closes: the file writes a
    // long run of it as copies of one packet, which only works for a run that is not broken up.
    void addSilence(qint64 frames);
    void writeHeldSilence();
    AacFile& file();
    void fail(const QString& text);

    QString m_path;
    std::unique_ptr<AacFile> m_file;
    std::unique_ptr<MonoConverter> m_converter;
    std::optional<AudioFormat> m_convFrom;
    std::vector<float> m_mono;
    LevelMeter m_meter;
    std::optional<double> m_offset;
    qint64 m_framesWritten = 0;
    qint64 m_heldSilence = 0;
    std::optional<double> m_nextTime;
    std::optional<QString> m_lastError;
    int m_convertersBuilt = 0;
    bool m_closed = false;
};
