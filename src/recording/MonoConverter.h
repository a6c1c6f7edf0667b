#pragma once

#include "os/AudioBuffer.h"

#include <QtGlobal>
#include <memory>
#include <vector>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

struct SwrContext;

// Turns samples of one input format into mono float at a chosen rate, mixing the channels down. The resampler
// keeps its state from one call to the next, so a stream cut into buffers converts as one.
class MonoConverter {
public:
    // Null when libswresample takes no such input.
    static std::unique_ptr<MonoConverter> create(const AVChannelLayout& layout, AVSampleFormat format,
                                                 int inRate, int outRate);
    // The same for the buffers of a capture source, with their channels in the default layout.
    static std::unique_ptr<MonoConverter> create(const AudioFormat& from, int outRate);
    ~MonoConverter();
    MonoConverter(const MonoConverter&) = delete;
    MonoConverter& operator=(const MonoConverter&) = delete;

    // Converts `frames` input frames (one pointer per plane) into `out`, which it resizes to what came out.
    // Returns 0 or FFmpeg's negative error code.
    int convert(const quint8* const* planes, int frames, std::vector<float>& out);

private:
    explicit MonoConverter(SwrContext* context) : m_context(context) {}

    SwrContext* m_context;
};
