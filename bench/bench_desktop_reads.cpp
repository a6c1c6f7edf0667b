// Main-thread cost of one CallDetector.tick and one WorkdayTracker.sample on a busy desktop: 50 windows of
// other programs (Python Tk windows, each its own process, that name no process id of their own) and 10
// recording streams on the microphone (parec), under the real X server and PulseAudio daemon (run inside
// scripts/with-test-services). The tick is measured in its dearest state: the microphone is in use, nothing
// has been offered and no window is a call, so every tick reads both systems in full and finds nothing. The
// reference is the same question asked of the daemon by its own command line, `pactl list source-outputs`.

#include "Desktop.h"
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
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <benchmark/benchmark.h>

namespace {

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
        // Samples come 15 s apart: each finds the writer idle, as here.
        state.PauseTiming();
        tracker.flush();
        state.ResumeTiming();
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
