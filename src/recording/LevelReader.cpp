#include "recording/LevelReader.h"

#include "recording/AudioError.h"
#include "recording/FFmpegText.h"
#include "recording/LevelMeter.h"
#include "recording/MonoConverter.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {
[[noreturn]] void fail(const QString& path, const QString& what) {
    throw AudioError(AudioError::Kind::Format, QFileInfo(path).fileName() + QStringLiteral(": ") + what);
}

struct InputCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct DecoderFreer {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct PacketFreer {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FrameFreer {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

// Decoded frames to mono levels; the converter is rebuilt only when the decoder's output format changes.
class MonoLevels {
public:
    MonoLevels(int sampleRate, AVRational timeBase)
        : m_rate(sampleRate), m_timeBase(timeBase), m_meter(0.25, sampleRate) {}
    ~MonoLevels() { av_channel_layout_uninit(&m_layout); }
    MonoLevels(const MonoLevels&) = delete;
    MonoLevels& operator=(const MonoLevels&) = delete;

    // False when the frame's format can't be converted.
    bool feed(const AVFrame& frame) {
        if (!m_converter || frame.format != m_format ||
            av_channel_layout_compare(&frame.ch_layout, &m_layout) != 0 || frame.sample_rate != m_inRate) {
            m_converter = MonoConverter::create(frame.ch_layout, AVSampleFormat(frame.format),
                                                frame.sample_rate, m_rate);
            if (!m_converter)
                return false;
            av_channel_layout_uninit(&m_layout);
            av_channel_layout_copy(&m_layout, &frame.ch_layout);
            m_format = frame.format;
            m_inRate = frame.sample_rate;
        }
        if (m_converter->convert(frame.extended_data, frame.nb_samples, m_mono) < 0)
            return false;
        const qint64 skip = std::min(priming(frame), qint64(m_mono.size()));
        m_meter.feed(m_mono.data() + skip, qint64(m_mono.size()) - skip);
        return true;
    }

    const QList<float>& rms() const { return m_meter.rms(); }

private:
    // Samples stamped before time zero are the encoder's priming: an AAC track begins with a frame of them,
    // which the writer never wrote and which would push every level window late.
    qint64 priming(const AVFrame& frame) const {
        if (frame.pts == AV_NOPTS_VALUE || frame.pts >= 0)
            return 0;
        return av_rescale_q(-frame.pts, m_timeBase, AVRational{1, m_rate});
    }

    int m_rate;
    AVRational m_timeBase;
    LevelMeter m_meter;
    std::unique_ptr<MonoConverter> m_converter;
    AVChannelLayout m_layout{};
    int m_format = AV_SAMPLE_FMT_NONE;
    int m_inRate = 0;
    std::vector<float> m_mono;
};
} // namespace

QList<float> LevelReader::levels(const QString& path) {
    const QByteArray file = QFile::encodeName(path);
    AVFormatContext* opened = nullptr;
    if (const int code = avformat_open_input(&opened, file.constData(), nullptr, nullptr); code < 0)
        fail(path, ffmpegErrorText(code));
    const std::unique_ptr<AVFormatContext, InputCloser> input(opened);
    if (const int code = avformat_find_stream_info(input.get(), nullptr); code < 0)
        fail(path, ffmpegErrorText(code));

    const AVCodec* codec = nullptr;
    const int stream = av_find_best_stream(input.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
    if (stream < 0 || !codec)
        fail(path, QStringLiteral("no audio track"));
    const AVCodecParameters* parameters = input->streams[stream]->codecpar;
    if (parameters->sample_rate <= 0)
        fail(path, QStringLiteral("no sample rate"));

    const std::unique_ptr<AVCodecContext, DecoderFreer> decoder(avcodec_alloc_context3(codec));
    const std::unique_ptr<AVPacket, PacketFreer> packet(av_packet_alloc());
    const std::unique_ptr<AVFrame, FrameFreer> frame(av_frame_alloc());
    if (!decoder || !packet || !frame)
        fail(path, QStringLiteral("alloc"));
    decoder->thread_count = 1;
    if (const int code = avcodec_parameters_to_context(decoder.get(), parameters); code < 0)
        fail(path, ffmpegErrorText(code));
    if (const int code = avcodec_open2(decoder.get(), codec, nullptr); code < 0)
        fail(path, ffmpegErrorText(code));

    MonoLevels levels(parameters->sample_rate, input->streams[stream]->time_base);
    const auto receiveAll = [&] {
        while (avcodec_receive_frame(decoder.get(), frame.get()) == 0) {
            const bool fed = levels.feed(*frame);
            av_frame_unref(frame.get());
            if (!fed)
                fail(path, QStringLiteral("no converter for the decoded audio"));
        }
    };
    // A read error is the end of what is there, as in a file cut short by a killed writer.
    while (av_read_frame(input.get(), packet.get()) >= 0) {
        if (packet->stream_index == stream) {
            // A damaged packet is passed over; the decoder takes up again at the next one.
            if (avcodec_send_packet(decoder.get(), packet.get()) == 0)
                receiveAll();
        }
        av_packet_unref(packet.get());
    }
    avcodec_send_packet(decoder.get(), nullptr);
    receiveAll();
    return levels.rms();
}
