// Throughput of MonoWriter.write on the capture path: 10 ms buffers, as PulseAudio hands them over,
// converted, encoded to AAC and written to disk. The "realtime" counter is seconds of audio written per
// second of CPU time.

#include "recording/MonoWriter.h"

#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <cmath>
#include <numbers>
#include <vector>

namespace {
constexpr double bufferSeconds = 0.01;

template <typename T> std::vector<T> speech(const AudioFormat& format, int frames) {
    std::vector<T> samples(size_t(frames) * size_t(format.channels));
    for (int f = 0; f < frames; ++f)
        for (int c = 0; c < format.channels; ++c) {
            // Two partials with a slow swell: enough content that the encoder cannot take a shortcut.
            const double t = double(f) / format.sampleRate;
            const double x = 0.3 * (1 + std::sin(2 * std::numbers::pi * 3 * t)) *
                             (std::sin(2 * std::numbers::pi * 220 * t) +
                              0.5 * std::sin(2 * std::numbers::pi * (1870 + 40 * c) * t));
            samples[size_t(f * format.channels + c)] =
                std::is_floating_point_v<T> ? T(x / 2) : T(std::lround(x / 2 * 32767));
        }
    return samples;
}

template <typename T> void writeBuffers(benchmark::State& state, AudioFormat format) {
    const QTemporaryDir dir;
    const int frames = int(format.sampleRate * bufferSeconds);
    // A second of signal, handed over buffer by buffer in a loop.
    const std::vector<T> second = speech<T>(format, format.sampleRate);
    MonoWriter writer(dir.filePath(QStringLiteral("bench.m4a")));
    double at = 0;
    qint64 buffer = 0;
    for (auto _ : state) {
        const size_t first = size_t(buffer % 100) * size_t(frames) * size_t(format.channels);
        writer.write(AudioBuffer{format, frames, {second.data() + first}}, at);
        at += bufferSeconds;
        ++buffer;
    }
    writer.close();
    if (writer.lastError()) state.SkipWithError(writer.lastError()->toUtf8().constData());
    state.counters["realtime"] =
        benchmark::Counter(double(state.iterations()) * bufferSeconds, benchmark::Counter::kIsRate);
}

void float48kStereo(benchmark::State& state) {
    writeBuffers<float>(state, AudioFormat{SampleType::Float32, 48000, 2, false});
}
void int16At48kStereo(benchmark::State& state) {
    writeBuffers<qint16>(state, AudioFormat{SampleType::Int16, 48000, 2, false});
}
void float44kStereo(benchmark::State& state) {
    writeBuffers<float>(state, AudioFormat{SampleType::Float32, 44100, 2, false});
}
void float48kMono(benchmark::State& state) {
    writeBuffers<float>(state, AudioFormat{SampleType::Float32, 48000, 1, false});
}
// A gap of an hour, as after a suspended machine: the most silence one buffer can bring.
void hourOfSilence(benchmark::State& state) {
    const QTemporaryDir dir;
    const AudioFormat format{SampleType::Float32, 48000, 1, false};
    const std::vector<float> second = speech<float>(format, format.sampleRate);
    for (auto _ : state) {
        MonoWriter writer(dir.filePath(QStringLiteral("gap.m4a")));
        writer.write(AudioBuffer{format, format.sampleRate, {second.data()}}, 0.0);
        writer.writeSilence(3600);
        writer.close();
    }
}
} // namespace

BENCHMARK(float48kStereo)->Name("MonoWriter.write/10ms/48k-stereo-float")->MinTime(3);
BENCHMARK(int16At48kStereo)->Name("MonoWriter.write/10ms/48k-stereo-int16")->MinTime(3);
BENCHMARK(float44kStereo)->Name("MonoWriter.write/10ms/44.1k-stereo-float")->MinTime(3);
BENCHMARK(float48kMono)->Name("MonoWriter.write/10ms/48k-mono-float")->MinTime(3);
BENCHMARK(hourOfSilence)->Name("MonoWriter.writeSilence/1h")->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
