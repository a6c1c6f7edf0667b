#include "recording/MonoDecoder.h"

#include "recording/AudioError.h"
#include "recording/FFmpegText.h"
#include "recording/MonoConverter.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <optional>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {
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
} // namespace

struct MonoDecoder::State {
    QString path;
    std::unique_ptr<AVFormatContext, InputCloser> input;
    std::unique_ptr<AVCodecContext, DecoderFreer> decoder;
    std::unique_ptr<AVPacket, PacketFreer> packet{av_packet_alloc()};
    std::unique_ptr<AVFrame, FrameFreer> frame{av_frame_alloc()};
    int stream = -1;
    int rate = 0;
    AVRational timeBase{};
    // Where the track ends, in samples of `rate` from time zero, when the file says. The last AAC frame is
    // padded past it.
    std::optional<qint64> end;
    bool flushed = false;
    // The converter is rebuilt only when the decoder's output format changes.
    std::unique_ptr<MonoConverter> converter;
    AVChannelLayout layout{};
    int format = AV_SAMPLE_FMT_NONE;
    int inRate = 0;
    std::vector<float> mono;

    ~State() { av_channel_layout_uninit(&layout); }

    [[noreturn]] void fail(const QString& what) const {
        throw AudioError(AudioError::Kind::Format, QFileInfo(path).fileName() + QStringLiteral(": ") + what);
    }

    void convert(const AVFrame& decoded) {
        if (!converter || decoded.format != format || decoded.sample_rate != inRate ||
            av_channel_layout_compare(&decoded.ch_layout, &layout) != 0) {
            converter = MonoConverter::create(decoded.ch_layout, AVSampleFormat(decoded.format),
                                              decoded.sample_rate, rate);
            if (!converter) fail(QStringLiteral("no converter for the decoded audio"));
            av_channel_layout_uninit(&layout);
            av_channel_layout_copy(&layout, &decoded.ch_layout);
            format = decoded.format;
            inRate = decoded.sample_rate;
        }
        if (const int code = converter->convert(decoded.extended_data, decoded.nb_samples, mono); code < 0)
            fail(ffmpegErrorText(code));
    }

    // The part of the converted frame that belongs to the track. Samples stamped before time zero are the
    // encoder's priming: an AAC track begins with a frame of them, which the writer never wrote and which
    // would push everything after it late.
    std::span<const float> kept(qint64 pts) const {
        if (pts == AV_NOPTS_VALUE) return mono;
        const qint64 first = av_rescale_q(pts, timeBase, AVRational{1, rate});
        const auto size = qint64(mono.size());
        const qint64 from = std::clamp(-first, qint64(0), size);
        const qint64 to = end ? std::clamp(*end - first, from, size) : size;
        return std::span<const float>(mono.data() + from, size_t(to - from));
    }
};

MonoDecoder::MonoDecoder(const QString& path, int rate) : m(std::make_unique<State>()) {
    m->path = path;
    const QByteArray file = QFile::encodeName(path);
    AVFormatContext* opened = nullptr;
    if (const int code = avformat_open_input(&opened, file.constData(), nullptr, nullptr); code < 0)
        m->fail(ffmpegErrorText(code));
    m->input.reset(opened);
    if (const int code = avformat_find_stream_info(m->input.get(), nullptr); code < 0)
        m->fail(ffmpegErrorText(code));

    const AVCodec* codec = nullptr;
    m->stream = av_find_best_stream(m->input.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
    if (m->stream < 0 || !codec) m->fail(QStringLiteral("no audio track"));
    const AVCodecParameters* parameters = m->input->streams[m->stream]->codecpar;
    if (parameters->sample_rate <= 0) m->fail(QStringLiteral("no sample rate"));
    m->rate = rate > 0 ? rate : parameters->sample_rate;
    const AVStream* track = m->input->streams[m->stream];
    m->timeBase = track->time_base;
    if (track->duration != AV_NOPTS_VALUE && track->duration > 0)
        m->end = av_rescale_q(track->duration + (track->start_time == AV_NOPTS_VALUE ? 0 : track->start_time),
                              m->timeBase, AVRational{1, m->rate});

    m->decoder.reset(avcodec_alloc_context3(codec));
    if (!m->decoder || !m->packet || !m->frame) m->fail(QStringLiteral("alloc"));
    m->decoder->thread_count = 1;
    if (const int code = avcodec_parameters_to_context(m->decoder.get(), parameters); code < 0)
        m->fail(ffmpegErrorText(code));
    if (const int code = avcodec_open2(m->decoder.get(), codec, nullptr); code < 0)
        m->fail(ffmpegErrorText(code));
}

MonoDecoder::~MonoDecoder() = default;

int MonoDecoder::sampleRate() const {
    return m->rate;
}

bool MonoDecoder::next(std::span<const float>& samples) {
    for (;;) {
        const int received = avcodec_receive_frame(m->decoder.get(), m->frame.get());
        if (received == 0) {
            const qint64 pts = m->frame->pts;
            m->convert(*m->frame);
            av_frame_unref(m->frame.get());
            samples = m->kept(pts);
            return true;
        }
        if (received == AVERROR_EOF || m->flushed) return false;
        // A read error is the end of what is there, as in a file cut short by a killed writer.
        if (av_read_frame(m->input.get(), m->packet.get()) < 0) {
            avcodec_send_packet(m->decoder.get(), nullptr);
            m->flushed = true;
            continue;
        }
        // A damaged packet is passed over; the decoder takes up again at the next one.
        if (m->packet->stream_index == m->stream) avcodec_send_packet(m->decoder.get(), m->packet.get());
        av_packet_unref(m->packet.get());
    }
}
