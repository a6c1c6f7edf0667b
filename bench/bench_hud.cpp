// The recording panel's own CPU in each of its sizes while a recording runs: the orb turning, the
// microphone's level arriving twenty times a second, the clock ticking. Measured as this process's CPU time
// (user + system) over a span, against the same span with the panel hidden. The X server's own work is not
// counted. Usage: bench_hud [seconds per span, default 20] [--composited: wait for a compositing manager
// first]; needs $DISPLAY (scripts/with-test-services).
#include "os/linux/X11Panels.h"
#include "surfaces/HUDController.h"
#include "surfaces/design/LiveMeter.h"

#include <QApplication>
#include <QEventLoop>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace {
double cpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

// Runs the event loop for the span and gives the share of one core the process used meanwhile.
double coreShare(double seconds) {
    const double cpu = cpuSeconds();
    QEventLoop loop;
    QTimer::singleShot(int(seconds * 1000), &loop, &QEventLoop::quit);
    loop.exec();
    return (cpuSeconds() - cpu) / seconds;
}
} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const double span = argc > 1 ? std::atof(argv[1]) : 20;
    if (argc > 2 && QByteArray(argv[2]) == "--composited") {
        // xcompmgr takes the selection once it has started.
        for (int tries = 0; tries < 100 && !os::x11CompositingManagerRuns(); ++tries)
            coreShare(0.05);
    }
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("bench.conf")), QSettings::IniFormat);
    LiveMeter meter;
    HUDController hud(settings, meter,
                      {&os::x11CompositingManagerRuns, [](QWindow& w) { os::x11OnAllDesktops(w); }},
                      [] { return Motion(false); });

    // Speech-like levels from the microphone, and a feed row now and then.
    QTimer mic;
    int tick = 0;
    QObject::connect(&mic, &QTimer::timeout, [&] {
        ++tick;
        meter.feedMic(float(0.02 + 0.02 * std::sin(tick * 0.7) * std::sin(tick * 0.05)));
        if (tick % 100 == 0) hud.model().add(FeedItem::Kind::heard, QStringLiteral("row %1").arg(tick / 100));
    });
    mic.start(50);

    std::printf("compositing manager: %s, %.0f s per span\n", os::x11CompositingManagerRuns() ? "yes" : "no",
                span);
    std::printf("%-22s %8s\n", "panel", "% core");
    hud.show(QDateTime::currentDateTimeUtc(), true);
    hud.hide();
    std::printf("%-22s %8.2f\n", "hidden (reference)", 100 * coreShare(span));
    for (const auto mode : {HUDModel::Mode::pill, HUDModel::Mode::card, HUDModel::Mode::dot}) {
        settings.setValue("hud.mode", HUDModel::modeName(mode));
        hud.show(QDateTime::currentDateTimeUtc(), true);
        coreShare(1); // settled: shown and faded in
        std::printf("%-22s %8.2f\n", qPrintable(HUDModel::modeName(mode)), 100 * coreShare(span));
        hud.hide();
    }
    return 0;
}
