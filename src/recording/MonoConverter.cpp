#include "recording/MonoConverter.h"

extern "C" {
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace {
AVSampleFormat sampleFormat(const AudioFormat& format) {
    switch (format.type) {
    case SampleType::Int16:
        return format.planar ? AV_SAMPLE_FMT_S16P : AV_SAMPLE_FMT_S16;
    case SampleType::Int32:
        return format.planar ? AV_SAMPLE_FMT_S32P : AV_SAMPLE_FMT_S32;
    case SampleType::Float32:
        return format.planar ? AV_SAMPLE_FMT_FLTP : AV_SAMPLE_FMT_FLT;
    }
    return AV_SAMPLE_FMT_NONE;
}
} // namespace

std::unique_ptr<MonoConverter> MonoConverter::create(const AudioFormat& from, int outRate) {
    AVChannelLayout layout;
    av_channel_layout_default(&layout, from.channels);
    return create(layout, sampleFormat(from), from.sampleRate, outRate);
}

std::unique_ptr<MonoConverter> MonoConverter::create(const AVChannelLayout& layout, AVSampleFormat format,
                                                     int inRate, int outRate) {
    if (inRate <= 0 || outRate <= 0) return nullptr;
    SwrContext* context = nullptr;
    // libswresample of FFmpeg 5 takes the layouts by non-const pointer but only reads them.
    AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
    AVChannelLayout in = layout;
    if (swr_alloc_set_opts2(&context, &mono, AV_SAMPLE_FMT_FLT, outRate, &in, format, inRate, 0, nullptr) < 0)
        return nullptr;
    // A downmix averages the channels: without this, stereo to mono would sum them at 1/√2 each and grow
    // louder.
    av_opt_set_double(context, "rematrix_maxval", 1.0, 0);
    if (swr_init(context) < 0) {
        swr_free(&context);
        return nullptr;
    }
    return std::unique_ptr<MonoConverter>(new MonoConverter(context));
}

MonoConverter::~MonoConverter() {
    swr_free(&m_context);
}

int MonoConverter::convert(const quint8* const* planes, int frames, std::vector<float>& out) {
    const int capacity = swr_get_out_samples(m_context, frames);
    if (capacity < 0) return capacity;
    out.resize(size_t(capacity));
    quint8* target = reinterpret_cast<quint8*>(out.data());
    const int produced =
        swr_convert(m_context, &target, capacity, const_cast<const quint8**>(planes), frames);
    if (produced < 0) return produced;
    out.resize(size_t(produced));
    return 0;
}
