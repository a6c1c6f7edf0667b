// Main-thread cost of one CallDetector.tick and one WorkdayTracker.sample on a busy desktop: 50 windows of other
// programs and 10 recording streams on the microphone, under the real X server and PulseAudio daemon
// (run inside scripts/with-test-services). The tick is measured in its dearest state: the microphone is in use,
// nothing has been offered and no window is a call, so every tick reads both systems in full and finds nothing.
// The reference is the same question asked of the daemon by its own command line, `pactl list source-outputs`.

#include "core/Fmt.h"
#include "os/linux/AppIdentities.h"
#include "os/linux/PulseAudioSystem.h"
#include "os/linux/X11IdleSource.h"
#include "os/linux/X11WindowSystem.h"
#include "workday/CallDetector.h"
#include "workday/MicUsage.h"
#include "workday/Windows.h"
#include "workday/WorkdayTracker.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <memory>
#include <vector>

namespace {

constexpr int windowCount = 50;
constexpr int recorderCount = 10;

// The other programs: each helper has a window; the first ten also record.
struct Desktop {
    std::vector<std::unique_ptr<QProcess>> helpers;

    Desktop() {
        for (int i = 0; i < windowCount; ++i) {
            auto helper = std::make_unique<QProcess>();
            QStringList args{QStringLiteral("--title"), QStringLiteral("Document %1 - Editor").arg(i),
                             QStringLiteral("--class"), QStringLiteral("editor%1").arg(i % 7)};
            if (i < recorderCount)
                args << QStringLiteral("--record");
            helper->start(QStringLiteral(ORVANE_CALL_HELPER), args);
            helpers.push_back(std::move(helper));
        }
        for (int i = 0; i < windowCount; ++i)
            waitFor(*helpers[size_t(i)], i < recorderCount ? "recording" : "window");
    }
    ~Desktop() {
        for (auto& helper : helpers)
            helper->closeWriteChannel();
        for (auto& helper : helpers)
            helper->waitForFinished(5000);
    }
    static void waitFor(QProcess& helper, const char* word) {
        while (helper.waitForReadyRead(10000) || helper.canReadLine()) {
            while (helper.canReadLine()) {
                if (helper.readLine().startsWith(word))
                    return;
            }
        }
    }
};

Desktop& desktop() {
    static Desktop d;
    return d;
}

void BM_CallDetectorTick(benchmark::State& state) {
    desktop();
    os::AppIdentities identities;
    os::PulseAudioSystem audio(identities);
    os::X11WindowSystem windowSystem(identities);
    MicUsage mic(audio, qint32(QCoreApplication::applicationPid()), QStringLiteral("bench"));
    Windows windows(windowSystem);
    CallDetector detector(mic, windows);
    // The window manager takes a moment to manage 50 new windows.
    std::optional<os::InputState> input;
    QElapsedTimer waited;
    waited.start();
    do {
        input = audio.inputState();
    } while ((!input || input->clients.size() < recorderCount || windows.list().size() < windowCount) &&
             waited.elapsed() < 20000 && (QThread::msleep(100), true));
    if (!input || input->clients.size() < recorderCount || windows.list().size() < windowCount) {
        state.SkipWithError("the desktop has not come up: run inside scripts/with-test-services");
        return;
    }
    detector.tick(); // the desktop files are read once, at the first question
    for (auto _ : state) {
        detector.tick();
        benchmark::DoNotOptimize(detector.offered());
    }
    state.counters["windows"] = double(windows.list().size());
    state.counters["recorders"] = double(input->clients.size());
}

void BM_WorkdayTrackerSample(benchmark::State& state) {
    desktop();
    os::AppIdentities identities;
    os::X11WindowSystem windowSystem(identities);
    os::X11IdleSource idle;
    Windows windows(windowSystem);
    QTemporaryDir dir;
    QDateTime now = QDateTime::currentDateTime();
    // A day that already holds a full working day of spans, all rewritten at every save.
    QFile day(WorkdayTracker::file(Fmt::day(now), dir.path()));
    if (!day.open(QIODevice::WriteOnly)) {
        state.SkipWithError("cannot write the day file");
        return;
    }
    for (int i = 0; i < 400; ++i) {
        const WorkSpan span{now.addSecs(-30000 + i * 60), now.addSecs(-29940 + i * 60),
                            QStringLiteral("App %1").arg(i % 9), QStringLiteral("Title %1").arg(i)};
        day.write(QJsonDocument(span.toJson()).toJson(QJsonDocument::Compact) + '\n');
    }
    day.close();
    WorkdayTracker tracker(windows, idle, dir.path());
    for (auto _ : state) {
        now = now.addSecs(WorkdayTracker::interval);
        tracker.sample(true, now);
    }
    state.counters["spans"] = double(tracker.spans().size());
}

void BM_ReferencePactlListSourceOutputs(benchmark::State& state) {
    desktop();
    for (auto _ : state) {
        QProcess pactl;
        pactl.start(QStringLiteral("pactl"), {QStringLiteral("list"), QStringLiteral("source-outputs")});
        pactl.waitForFinished();
        benchmark::DoNotOptimize(pactl.readAllStandardOutput());
    }
}

} // namespace

BENCHMARK(BM_CallDetectorTick)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_WorkdayTrackerSample)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ReferencePactlListSourceOutputs)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
