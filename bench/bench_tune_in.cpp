// Tuning in on a busy desktop (50 windows of other programs, 10 recording streams on the microphone), with
// the program's own services and a recording that really records, signed in to the local platform:
// - "Tune in" (the offer's button: a recording of a call) to the first paint of the recording panel, and
//   "Wrap up" (the panel's button) to the first paint of "Where does this go?", against a bare floating
//   window's show to its first paint in the same run;
// - the one-second tick of a work session, called on the main thread: plain, the one that samples the app in
//   front (every 2nd), and the one that checks whether the session became a call (every 15th, here in its
//   dearest state: others hold the microphone and no window is a call), against `pactl list source-outputs`.
// Usage: bench_tune_in [rounds, default 8] [ticks, default 900]; inside scripts/with-test-services.
#include "Desktop.h"
#include "app/AppDelegate.h"
#include "app/Services.h"
#include "core/Paths.h"
#include "support/LocalPlatform.h"
#include "surfaces/HUDController.h"
#include "surfaces/HUDPanel.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QLabel>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <ctime>

namespace {

QByteArray loadAverage() {
    QFile f(QStringLiteral("/proc/loadavg"));
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("?\n");
}

double threadCpuMs() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) * 1e3 + double(t.tv_nsec) / 1e6;
}

// Runs the event loop until `done` or the deadline; false at the deadline.
bool runUntil(const std::function<bool()>& done, int ms = 60000) {
    QElapsedTimer waited;
    waited.start();
    while (!done()) {
        if (waited.elapsed() > ms) return false;
        QEventLoop loop;
        QTimer::singleShot(1, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

void spend(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// The time of the first paint of a window that `wanted` picks, once armed.
class FirstPaint : public QObject {
public:
    std::function<bool(QWidget&)> wanted;
    QElapsedTimer clock;
    std::optional<double> ms;

    void arm(std::function<bool(QWidget&)> pick) {
        wanted = std::move(pick);
        ms.reset();
        clock.start();
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && wanted && !ms && watched->isWidgetType() &&
            wanted(*static_cast<QWidget*>(watched)->window()))
            ms = double(clock.nsecsElapsed()) / 1e6;
        return false;
    }
};

struct Figures {
    std::vector<double> values;
    double at(double q) {
        if (values.empty()) return 0;
        std::sort(values.begin(), values.end());
        return values[std::min(values.size() - 1, size_t(q * double(values.size())))];
    }
};

void print(const char* name, Figures& f, const char* unit = "ms") {
    std::printf("%-46s n=%4zu  p50 %8.2f  p95 %8.2f  max %8.2f %s\n", name, f.values.size(), f.at(0.5),
                f.at(0.95), f.at(1.0), unit);
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 8;
    const int ticks = argc > 2 ? std::atoi(argv[2]) : 900;
    std::printf("load: %s", loadAverage().constData());

    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.filePath(QStringLiteral("config")).toUtf8());
    Config config;
    config.supportDir = home.filePath(QStringLiteral("support"));
    config.keychainService = QStringLiteral("orvane.bench");
    config.noBrowser = true;
    config.askSeconds = 3600;
    config.hasDisplay = true;
    Paths::useSupport(config.supportDir);
    LocalPlatform platform;
    if (!platform.isRunning()) {
        std::fprintf(stderr, "%s\n", qPrintable(platform.error()));
        return 1;
    }
    desktop();
    const auto services = Services::build(config);
    services->settings->setPlatformBase(platform.base());
    services->settings->signIn(QStringLiteral("dev-key"), QStringLiteral("dev@orvane.test"), std::nullopt);
    AppDelegate delegate(*services, Arguments(QStringList{}));
    delegate.applicationDidFinishLaunching();
    if (!runUntil([&] { return !services->settings->projects().isEmpty(); })) return 1;

    TuneIn& tuneIn = delegate.tuneIn();
    auto* hud = dynamic_cast<HUDController*>(services->hud.get());
    FirstPaint paint;
    app.installEventFilter(&paint);
    const auto recording = [&] { return tuneIn.state() == TuneIn::State::recording; };
    const auto idle = [&] { return tuneIn.state() == TuneIn::State::idle; };

    Figures tuneInToPanel, wrapUpToQuestion, bareWindow;
    bool asked = false;
    QObject::connect(&delegate.filing(), &Filing::questionsChanged, [&] { asked = true; });
    for (int r = 0; r < rounds; ++r) {
        services->nudges->dismiss();
        paint.arm([&](QWidget& w) { return hud && &w == hud->panel(); });
        tuneIn.startRecording(CallHit{QStringLiteral("Google Meet"), QStringLiteral("Meet - abc-defg-hij")});
        if (!runUntil([&] { return paint.ms.has_value() && recording(); })) return 1;
        tuneInToPanel.values.push_back(*paint.ms);
        spend(3000);

        asked = false;
        paint.arm([&](QWidget& w) { return asked && !(hud && &w == hud->panel()) && w.isVisible(); });
        tuneIn.stopRecording();
        if (!runUntil([&] { return paint.ms.has_value(); })) return 1;
        wrapUpToQuestion.values.push_back(*paint.ms);
        if (!runUntil(idle)) return 1;

        // The reference: a bare floating window of the same kind, shown and painted.
        QWidget bare(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                                  Qt::WindowDoesNotAcceptFocus);
        bare.setAttribute(Qt::WA_ShowWithoutActivating);
        auto* label = new QLabel(QStringLiteral("0:03  Orvane active"), &bare);
        label->adjustSize();
        paint.arm([&](QWidget& w) { return &w == &bare; });
        bare.show();
        if (!runUntil([&] { return paint.ms.has_value(); })) return 1;
        bareWindow.values.push_back(*paint.ms);
    }
    paint.arm({});

    // A work session; the tick is called here, between the timer's own, and each call is classed by its
    // number in the recording, counted from every tick the flow runs.
    int tickNumber = 0;
    QObject::connect(&tuneIn, &TuneIn::ticked, [&] {
        if (recording()) ++tickNumber;
    });
    tuneIn.startRecording(std::nullopt);
    if (!runUntil(recording)) return 1;
    tickNumber = 0;
    Figures plain, sample, check, plainCpu, sampleCpu, checkCpu;
    for (int i = 0; i < ticks; ++i) {
        QElapsedTimer wall;
        const double cpu = threadCpuMs();
        wall.start();
        tuneIn.tick();
        const double ms = double(wall.nsecsElapsed()) / 1e6, cpuMs = threadCpuMs() - cpu;
        const bool fifteenth = tickNumber % 15 == 0, even = tickNumber % 2 == 0;
        (fifteenth ? check : even ? sample : plain).values.push_back(ms);
        (fifteenth ? checkCpu : even ? sampleCpu : plainCpu).values.push_back(cpuMs);
        spend(20);
    }
    tuneIn.stopRecording();
    if (!runUntil(idle)) return 1;

    Figures pactl;
    for (int i = 0; i < 20; ++i) {
        QElapsedTimer wall;
        wall.start();
        QProcess p;
        p.start(QStringLiteral("pactl"), {QStringLiteral("list"), QStringLiteral("source-outputs")});
        p.waitForFinished();
        pactl.values.push_back(double(wall.nsecsElapsed()) / 1e6);
    }

    std::printf("%d windows, %d recorders, %d rounds, %d ticks\n", windowCount, recorderCount, rounds, ticks);
    print("\"Tune in\" to the panel's first paint", tuneInToPanel);
    print("\"Wrap up\" to the question's first paint", wrapUpToQuestion);
    print("reference: a bare floating window to its paint", bareWindow);
    print("tick, plain (wall)", plain);
    print("tick, plain (main-thread CPU)", plainCpu);
    print("tick, samples the app in front (wall)", sample);
    print("tick, samples the app in front (CPU)", sampleCpu);
    print("tick, 15th: checks for a call (wall)", check);
    print("tick, 15th: checks for a call (CPU)", checkCpu);
    print("reference: pactl list source-outputs (wall)", pactl);
    std::printf("load: %s", loadAverage().constData());
    return 0;
}
