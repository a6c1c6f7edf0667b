#include "recording/LevelReader.h"

#include "recording/LevelMeter.h"
#include "recording/MonoDecoder.h"

QList<float> LevelReader::levels(const QString& path) {
    MonoDecoder decoder(path);
    LevelMeter meter(0.25, decoder.sampleRate());
    std::span<const float> samples;
    while (decoder.next(samples))
        meter.feed(samples.data(), qint64(samples.size()));
    return meter.rms();
}
