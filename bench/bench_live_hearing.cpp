// Live hearing's cost during a recording: the microphone's buffers, 10 ms of 48 kHz stereo float each, fed to
// LiveHearing at the pace of a real microphone (or faster), with hearing on, or off as the reference. Prints
// the process's CPU time per second of audio. Run by bench/live-hearing.sh.
//
// Usage: bench_live_hearing on|off <raw f32le 48 kHz stereo speech> [seconds, default 600] [pace, default 1]
//
// The speech engine is the program's own (PocketSphinx with its US English model); its model loads when
// hearing starts, inside the measured time.
#include "os/SpeechEngine.h"
#include "os/linux/Backends.h"
#include "voice/LiveHearing.h"

#include <QCoreApplication>
#include <QFile>
#include <QTimer>
#include <chrono>
#include <cstdio>
#include <sys/resource.h>
#include <thread>

namespace {

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    auto seconds = [](const timeval& t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: bench_live_hearing on|off <speech.f32> [seconds] [pace]\n");
        return 2;
    }
    const bool on = qstrcmp(argv[1], "on") == 0;
    QFile file(QString::fromLocal8Bit(argv[2]));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", argv[2]);
        return 2;
    }
    const QByteArray speech = file.readAll();
    const double seconds = argc > 3 ? std::atof(argv[3]) : 600;
    const double pace = argc > 4 ? std::atof(argv[4]) : 1;

    constexpr int rate = 48000;
    constexpr int channels = 2;
    constexpr int frames = rate / 100;
    const auto* samples = reinterpret_cast<const float*>(speech.constData());
    const qsizetype available = speech.size() / qsizetype(sizeof(float) * channels);
    if (available < frames) return 2;

    const auto engine = os::linux_backends::makeSpeechEngine();
    LiveHearing hearing(*engine, systemNow);
    int phrases = 0;
    QObject::connect(&hearing, &LiveHearing::phrase, [&phrases] { ++phrases; });
    if (on && !hearing.start()) return 1;

    const int buffers = int(seconds * 100);
    std::vector<float> block(size_t(frames * channels));
    const double cpuBefore = cpuSeconds();
    const auto begun = std::chrono::steady_clock::now();
    qsizetype at = 0;
    for (int i = 0; i < buffers; ++i) {
        for (size_t k = 0; k < block.size(); k += channels) {
            block[k] = block[k + 1] = samples[at * channels];
            at = (at + 1) % available;
        }
        hearing.append(AudioBuffer{{SampleType::Float32, rate, channels, false}, frames, {block.data()}});
        QCoreApplication::processEvents();
        std::this_thread::sleep_until(begun + std::chrono::microseconds(qint64((i + 1) * 10'000 / pace)));
    }
    hearing.stop();
    std::printf("%d key phrases\n", phrases);
    const double cpu = cpuSeconds() - cpuBefore;
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
    std::printf(
        "hearing %s: %.0f s of audio in %.1f s, CPU %.3f s = %.3f %% of a core, real-time factor %.0f\n",
        on ? "on " : "off", seconds, wall, cpu, 100 * cpu / seconds, seconds / cpu);
    return 0;
}
