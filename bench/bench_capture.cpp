// Live capture of both sources into their tracks, as a recording runs it, for a given number of seconds.
//   bench_capture cpu SECONDS DIR    CPU time of the whole process per minute of audio (share of one core)
//   bench_capture drift SECONDS DIR  how far apart the two tracks put clicks played into both at once
// Run it inside the test services (scripts/with-test-services), which provide the sound server.

#include "os/linux/PulseAudioCapture.h"
#include "recording/MonoDecoder.h"
#include "recording/MonoWriter.h"

#include <QString>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace {
double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// A track fed on the capture thread; the writer is used from that thread only until the capture stops.
struct Track {
    explicit Track(const QString& path) : writer(path) {}
    os::AudioReceiver receiver() {
        return {[this](const AudioBuffer& buffer, double at) { writer.write(buffer, at); }, {}};
    }
    MonoWriter writer;
};

// Timeline times of the clicks on a track: the first loud sample after at least 0.3 s of quiet.
std::vector<double> clicks(const MonoWriter& track) {
    std::vector<double> found;
    MonoDecoder decoder(track.path(), MonoWriter::sampleRate);
    std::span<const float> samples;
    qint64 frame = 0;
    qint64 quietSince = 0;
    while (decoder.next(samples)) {
        for (size_t i = 0; i < samples.size(); ++i, ++frame) {
            if (std::abs(samples[i]) < 0.1f) continue;
            if (frame - quietSince > MonoWriter::sampleRate * 3 / 10)
                found.push_back(*track.offset() + double(frame) / MonoWriter::sampleRate);
            quietSince = frame;
        }
    }
    return found;
}
} // namespace

int main(int argc, char** argv) {
    if (argc != 4 || (std::strcmp(argv[1], "cpu") != 0 && std::strcmp(argv[1], "drift") != 0)) {
        std::fprintf(stderr, "usage: bench_capture cpu|drift SECONDS DIR\n");
        return 2;
    }
    const double seconds = std::atof(argv[2]);
    const QString dir = QString::fromLocal8Bit(argv[3]);
    Track system(dir + QStringLiteral("/system.m4a"));
    Track mic(dir + QStringLiteral("/mic.m4a"));
    const double cpuBefore = cpuSeconds();
    {
        os::PulseAudioCapture capture;
        capture.start(os::AudioSource::System, system.receiver());
        capture.start(os::AudioSource::Mic, mic.receiver());
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
        capture.stop(os::AudioSource::System);
        capture.stop(os::AudioSource::Mic);
    }
    system.writer.close();
    mic.writer.close();
    const double cpu = cpuSeconds() - cpuBefore;
    const double audio = std::min(system.writer.duration(), mic.writer.duration());

    if (std::strcmp(argv[1], "cpu") == 0) {
        std::printf("orvane capture: %.1f s of two tracks in %.2f s CPU: %.2f %% of one core (%.2f s CPU per "
                    "minute)\n",
                    audio, cpu, 100 * cpu / audio, 60 * cpu / audio);
        return 0;
    }
    const std::vector<double> a = clicks(system.writer);
    const std::vector<double> b = clicks(mic.writer);
    std::printf("drift: %zu clicks on the system track, %zu on the mic track\n", a.size(), b.size());
    if (a.empty() || b.empty()) return 1;
    // Each click on the system track against the nearest on the mic track.
    const auto apart = [&](double t) {
        double best = 1e9;
        for (double u : b)
            if (std::abs(u - t) < std::abs(best)) best = u - t;
        return best;
    };
    std::printf("mic minus system: first click %+.1f ms, last click %+.1f ms, %.1f s apart\n",
                1000 * apart(a.front()), 1000 * apart(a.back()), a.back() - a.front());
    return 0;
}
