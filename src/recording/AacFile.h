#pragma once

#include <QString>
#include <memory>

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct AVStream;
class SilenceSplice;

// A mono AAC track written as fragmented MP4. A fragment reaches the disk about every second, so a process
// that is killed leaves a readable file short of its last second; `finish` writes the rest and the index.
class AacFile {
public:
    // Replaces any file at `path`. Throws AudioError.
    AacFile(const QString& path, int sampleRate, int bitRate);
    // Finishes the file if `finish` was not called; a failure then goes unreported.
    ~AacFile();
    AacFile(const AacFile&) = delete;
    AacFile& operator=(const AacFile&) = delete;

    // Throws AudioError.
    void write(const float* samples, qint64 count);
    void writeSilence(qint64 count);
    // Encodes what is still held back, then completes the file. Throws AudioError.
    void finish();

private:
    // Fills the encoder's frame by `fill(target, done, n)` and sends each full one.
    template <typename Fill> void append(qint64 count, bool silent, Fill fill);
    void sendFrame();
    void drain();
    void writePacket(AVPacket* packet);
    void release();

    AVFormatContext* m_format = nullptr;
    AVCodecContext* m_codec = nullptr;
    AVStream* m_stream = nullptr;
    AVFrame* m_frame = nullptr;
    AVPacket* m_packet = nullptr;
    int m_filled = 0;
    qint64 m_samplesSent = 0;
    bool m_finished = false;

    // Created with the encoder, which fixes the frame size.
    std::unique_ptr<SilenceSplice> m_silence;
    // The frame being filled holds nothing but silence so far.
    bool m_frameSilent = true;
};
