// A whole recording as the app makes it, for a given time: the frames of $DISPLAY through the X11 frame
// stream, both audio tracks from the sound server, the text of the kept frames; then the stop with its mix.
//   bench_recorder SECONDS DIR
// Prints, for the time from the start to the stop: the CPU of the process as a share of one core, per
// thread and per stage of the recording (os::cpustages, and the sound server's own thread), the resident
// memory at the end and its growth per hour (a least-squares line through samples every 5 s after the first
// minute), and the time the capture queue spent on each frame (p50, p95, max). Run by bench/recorder.sh,
// inside the test services (scripts/with-test-services), which provide the sound server.

#include "os/CpuStages.h"
#include "os/linux/Backends.h"
#include "recording/OCR.h"
#include "recording/Recorder.h"
#include "recording/Session.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr double mib = 1024.0 * 1024.0;
constexpr int sampleMilliseconds = 5000;
// Memory grows while the models load and the first frames are kept; the growth is taken after that.
constexpr double settleSeconds = 60;

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double wallSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double residentBytes() {
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly)) return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toDouble() * double(sysconf(_SC_PAGESIZE)) : 0;
}

// User plus system CPU seconds of each thread, summed by thread name.
std::map<QString, double> threadCpuSeconds() {
    std::map<QString, double> byName;
    const double tick = double(sysconf(_SC_CLK_TCK));
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile stat(tasks.filePath(task) + QStringLiteral("/stat"));
        if (!stat.open(QIODevice::ReadOnly)) continue;
        const QByteArray line = stat.readAll();
        // "pid (name) state ..."; the name may hold blanks, so the fields are counted from its closing
        // parenthesis.
        const qsizetype open = line.indexOf('('), close = line.lastIndexOf(')');
        if (open < 0 || close < open) continue;
        const QList<QByteArray> fields = line.mid(close + 2).split(' ');
        // utime and stime are fields 14 and 15 of the line, 12 and 13 after the name.
        if (fields.size() < 13) continue;
        byName[QString::fromUtf8(line.mid(open + 1, close - open - 1))] +=
            (fields[11].toDouble() + fields[12].toDouble()) / tick;
    }
    return byName;
}

double percentile(std::vector<double> values, double p) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const auto rank = size_t(std::max(0.0, std::ceil(p * double(values.size())) - 1));
    return values[std::min(rank, values.size() - 1)];
}

struct Sample {
    double t;
    double bytes;
};

// Slope of the least-squares line through the samples, in bytes per second.
double slope(const std::vector<Sample>& samples) {
    const double n = double(samples.size());
    if (n < 2) return 0;
    double st = 0, sb = 0, stt = 0, stb = 0;
    for (const Sample& s : samples) {
        st += s.t;
        sb += s.bytes;
        stt += s.t * s.t;
        stb += s.t * s.bytes;
    }
    const double denominator = n * stt - st * st;
    return denominator > 0 ? (n * stb - st * sb) / denominator : 0;
}

const char* stateName(TrackHealth::State state) {
    switch (state) {
    case TrackHealth::State::Sound:
        return "sound";
    case TrackHealth::State::NoBuffers:
        return "no buffers";
    case TrackHealth::State::OnlyZeros:
        return "only zeros";
    }
    return "?";
}

// The frame ticks, handed in on the capture queue and read after the stop.
class Ticks {
public:
    void add(double seconds) {
        const std::lock_guard lock(m_mutex);
        m_seconds.push_back(seconds);
    }
    std::vector<double> all() const {
        const std::lock_guard lock(m_mutex);
        return m_seconds;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<double> m_seconds;
};

// The app's frame stream, counting the frames that were due while nothing on screen changed (no grab).
class CountedFrames final : public os::FrameStream {
public:
    explicit CountedFrames(std::unique_ptr<os::FrameStream> stream) : m_stream(std::move(stream)) {}
    QSize start(Receiver receiver) override {
        receiver.unchanged = [this, next = receiver.unchanged] {
            ++m_unchanged;
            if (next) next();
        };
        return m_stream->start(std::move(receiver));
    }
    void stop() override { m_stream->stop(); }
    int unchanged() const { return m_unchanged; }

private:
    std::unique_ptr<os::FrameStream> m_stream;
    std::atomic<int> m_unchanged = 0;
};

// What each stage of the recording cost over `wall` seconds; what no stage claims is the queues' wake-ups,
// the session's bookkeeping and the rest.
void printStages(const std::map<QString, double>& threads, double totalCpu, double wall) {
    namespace stages = os::cpustages;
    using stages::Stage;
    const auto share = [wall](double cpu) { return 100 * cpu / wall; };
    double claimed = 0;
    std::printf("stages (share of one core):\n");
    for (int i = 0; i < int(Stage::count); ++i) {
        const double cpu = stages::seconds(Stage(i));
        claimed += cpu;
        std::printf("  %-40s %6.3f %%\n", stages::name(Stage(i)), share(cpu));
    }
    // libpulse's thread runs the hand-off; the rest of its time is its exchange with the server.
    const auto pulse = threads.find(QStringLiteral("threaded-ml"));
    const double serverIo =
        pulse == threads.end() ? 0 : std::max(0.0, pulse->second - stages::seconds(Stage::SoundHandOff));
    claimed += serverIo;
    const auto main = threads.find(QStringLiteral("bench_recorder"));
    const double mainCpu = main == threads.end() ? 0 : main->second;
    claimed += mainCpu;
    std::printf("  %-40s %6.3f %%\n", "sound server I/O (libpulse's thread)", share(serverIo));
    std::printf("  %-40s %6.3f %%\n", "main thread", share(mainCpu));
    std::printf("  %-40s %6.3f %%\n", "queues, bookkeeping and the rest",
                share(std::max(0.0, totalCpu - claimed)));
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc != 3 || std::atof(argv[1]) <= 0) {
        std::fprintf(stderr, "usage: bench_recorder SECONDS DIR\n");
        return 2;
    }
    const double seconds = std::atof(argv[1]);
    const auto session = Session::create(QStringLiteral("Bench"), QStringLiteral("Screen"), std::nullopt,
                                         QDateTime::currentDateTimeUtc(), QString::fromLocal8Bit(argv[2]));
    CountedFrames frames(os::linux_backends::makeFrameStream(false));
    const std::unique_ptr<os::AudioCapture> audio = os::linux_backends::makeAudioCapture();
    OCR ocr(&os::linux_backends::makeTextRecognizer);
    Recorder recorder(session, {frames, *audio, ocr});
    Ticks ticks;
    recorder.onFrameTick = [&ticks](double tick) { ticks.add(tick); };

    os::cpustages::enable(true);
    const std::map<QString, double> threadsBefore = threadCpuSeconds();
    const double cpuBefore = cpuSeconds();
    const double wallBefore = wallSeconds();
    recorder.start(true);

    std::vector<Sample> samples;
    QTimer sampler;
    QObject::connect(&sampler, &QTimer::timeout, [&] {
        samples.push_back({wallSeconds() - wallBefore, residentBytes()});
    });
    sampler.start(sampleMilliseconds);
    QTimer::singleShot(int(seconds * 1000), &app, &QCoreApplication::quit);
    app.exec();
    sampler.stop();

    const double recordingCpu = cpuSeconds() - cpuBefore;
    const double recordingWall = wallSeconds() - wallBefore;
    const double residentAtEnd = residentBytes();
    std::map<QString, double> threads = threadCpuSeconds();
    for (const auto& [name, cpu] : threadsBefore)
        threads[name] -= cpu;
    os::cpustages::enable(false);
    const Recorder::TrackStates states = recorder.trackStates();
    const double stopWall = wallSeconds();
    recorder.stop();
    const double stopCpu = cpuSeconds() - cpuBefore - recordingCpu;

    std::printf("recording: %.1f s wall, %.2f s CPU: %.2f %% of one core (the stop with its mix: %.2f s CPU, "
                "%.2f s wall)\n",
                recordingWall, recordingCpu, 100 * recordingCpu / recordingWall, stopCpu,
                wallSeconds() - stopWall);
    std::printf("threads (share of one core):");
    for (const auto& [name, cpu] : threads)
        std::printf(" %s %.2f %%;", qPrintable(name), 100 * cpu / recordingWall);
    std::printf("\n");
    printStages(threads, recordingCpu, recordingWall);

    const double settle = std::min(settleSeconds, recordingWall / 4);
    std::vector<Sample> settled;
    std::copy_if(samples.begin(), samples.end(), std::back_inserter(settled),
                 [settle](const Sample& s) { return s.t >= settle; });
    std::printf(
        "memory: resident %.1f MiB at the end; growth %+.2f MiB per hour (%zu samples from %.0f s on)\n",
        residentAtEnd / mib, slope(settled) * 3600 / mib, settled.size(), settle);

    const std::vector<double> tick = ticks.all();
    std::printf("frame tick: %zu frames (and %d due on an unchanged screen, not grabbed), p50 %.2f ms, p95 "
                "%.2f ms, max %.2f ms\n",
                tick.size(), frames.unchanged(), 1000 * percentile(tick, 0.50), 1000 * percentile(tick, 0.95),
                tick.empty() ? 0.0 : 1000 * *std::max_element(tick.begin(), tick.end()));

    const SessionMeta& meta = session->meta;
    std::printf("session: %zu shots, %lld text entries, %lld pins; system track: %s, mic track: %s\n",
                size_t(meta.shots.size()), meta.ocr ? (long long)meta.ocr->size() : 0LL,
                (long long)meta.pins.size(), stateName(states.system),
                states.mic ? stateName(*states.mic) : "not recorded");
    return 0;
}
