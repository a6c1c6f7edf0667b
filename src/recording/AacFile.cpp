#include "recording/AacFile.h"

#include "recording/AudioError.h"
#include "recording/FFmpegText.h"
#include "recording/SilenceSplice.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

namespace {
[[noreturn]] void fail(const QString& what, int code) {
    throw AudioError(AudioError::Kind::Format, what + QStringLiteral(": ") + ffmpegErrorText(code));
}

void check(int code, const char* what) {
    if (code < 0) fail(QString::fromLatin1(what), code);
}
} // namespace

AacFile::AacFile(const QString& path, int sampleRate, int bitRate) {
    // A restart must never append to an old track.
    QFile::remove(path);
    const QByteArray file = QFile::encodeName(path);
    try {
        check(avformat_alloc_output_context2(&m_format, nullptr, "mp4", file.constData()), "no mp4 muxer");
        check(avio_open(&m_format->pb, file.constData(), AVIO_FLAG_WRITE), "cannot create the file");
        const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_AAC);
        if (!encoder) fail(QStringLiteral("no AAC encoder"), AVERROR_ENCODER_NOT_FOUND);
        m_codec = avcodec_alloc_context3(encoder);
        m_stream = avformat_new_stream(m_format, nullptr);
        m_frame = av_frame_alloc();
        m_packet = av_packet_alloc();
        if (!m_codec || !m_stream || !m_frame || !m_packet) fail(QStringLiteral("alloc"), AVERROR(ENOMEM));

        m_codec->sample_fmt = AV_SAMPLE_FMT_FLTP;
        m_codec->sample_rate = sampleRate;
        m_codec->ch_layout = AV_CHANNEL_LAYOUT_MONO;
        m_codec->bit_rate = bitRate;
        m_codec->time_base = AVRational{1, sampleRate};
        if (m_format->oformat->flags & AVFMT_GLOBALHEADER) m_codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        // The fast coder spends about a fifth of the default two-loop search's CPU on speech, and voices come
        // out as clear (bench/aac-coders.sh): a track is encoded for hours beside the user's work.
        AVDictionary* coder = nullptr;
        av_dict_set(&coder, "aac_coder", "fast", 0);
        const int encoderOpened = avcodec_open2(m_codec, encoder, &coder);
        av_dict_free(&coder);
        check(encoderOpened, "cannot open the AAC encoder");
        m_silence = std::make_unique<SilenceSplice>(m_codec->frame_size);
        check(avcodec_parameters_from_context(m_stream->codecpar, m_codec), "encoder parameters");
        m_stream->time_base = m_codec->time_base;

        m_frame->format = m_codec->sample_fmt;
        m_frame->sample_rate = sampleRate;
        m_frame->nb_samples = m_codec->frame_size;
        check(av_channel_layout_copy(&m_frame->ch_layout, &m_codec->ch_layout), "channel layout");
        check(av_frame_get_buffer(m_frame, 0), "alloc");

        // Each packet is pushed to the file as the muxer lets go of it: the muxer itself holds a fragment
        // back until it is complete, so what reaches the disk is always whole fragments.
        m_format->flush_packets = 1;
        AVDictionary* options = nullptr;
        // delay_moov writes the header once the first timestamps are known, so that its edit list marks the
        // encoder's priming samples as coming before time zero, where readers leave them out.
        av_dict_set(&options, "movflags", "empty_moov+default_base_moof+delay_moov", 0);
        av_dict_set(&options, "frag_duration", "1000000", 0);
        const int opened = avformat_write_header(m_format, &options);
        av_dict_free(&options);
        check(opened, "cannot write the file header");
    } catch (const AudioError&) {
        release();
        throw;
    }
}

AacFile::~AacFile() {
    if (!m_finished) {
        try {
            finish();
        } catch (const AudioError&) {
            // Nothing is left to tell: the owner is gone.
        }
    }
    release();
}

void AacFile::write(const float* samples, qint64 count) {
    append(count, false,
           [samples](float* target, qint64 done, int n) { std::copy_n(samples + done, n, target); });
}

void AacFile::writeSilence(qint64 count) {
    const int size = m_codec->frame_size;
    const SilenceSplice::Write write = [this](AVPacket* packet) { writePacket(packet); };
    while (count > 0) {
        if (m_filled == 0 && count >= size && m_silence->settled()) {
            const qint64 frames = count / size;
            m_silence->skip(m_samplesSent - size, frames, m_packet, write);
            m_samplesSent += frames * size;
            count -= frames * size;
            continue;
        }
        const qint64 n = std::min<qint64>(count, size - m_filled);
        append(n, true, [](float* target, qint64, int k) { std::fill_n(target, k, 0.0f); });
        count -= n;
    }
}

template <typename Fill> void AacFile::append(qint64 count, bool silent, Fill fill) {
    qint64 done = 0;
    while (done < count) {
        if (m_filled == 0) {
            // The encoder may still hold the previous frame's samples.
            check(av_frame_make_writable(m_frame), "alloc");
            m_frameSilent = true;
        }
        m_frameSilent = m_frameSilent && silent;
        const int n = int(std::min<qint64>(count - done, m_codec->frame_size - m_filled));
        fill(reinterpret_cast<float*>(m_frame->data[0]) + m_filled, done, n);
        m_filled += n;
        done += n;
        if (m_filled == m_codec->frame_size) sendFrame();
    }
}

void AacFile::sendFrame() {
    m_frame->nb_samples = m_filled;
    m_frame->pts = m_samplesSent;
    check(avcodec_send_frame(m_codec, m_frame), "encode");
    m_samplesSent += m_filled;
    m_filled = 0;
    m_silence->frameSent(m_frameSilent);
    drain();
}

void AacFile::drain() {
    const SilenceSplice::Write write = [this](AVPacket* packet) { writePacket(packet); };
    for (;;) {
        const int received = avcodec_receive_packet(m_codec, m_packet);
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
        check(received, "encode");
        m_silence->pass(m_packet, write);
    }
}

void AacFile::writePacket(AVPacket* packet) {
    av_packet_rescale_ts(packet, m_codec->time_base, m_stream->time_base);
    packet->stream_index = m_stream->index;
    check(av_interleaved_write_frame(m_format, packet), "write");
}

void AacFile::finish() {
    m_finished = true;
    if (m_filled > 0) sendFrame();
    check(avcodec_send_frame(m_codec, nullptr), "encode");
    drain();
    check(av_write_trailer(m_format), "write");
    check(avio_closep(&m_format->pb), "write");
}

void AacFile::release() {
    if (m_format && m_format->pb) avio_closep(&m_format->pb);
    avformat_free_context(m_format);
    m_format = nullptr;
    avcodec_free_context(&m_codec);
    av_frame_free(&m_frame);
    av_packet_free(&m_packet);
}
