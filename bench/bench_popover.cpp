// The tray panel: a rebuild of its rows with 200 to-dos, 10 cards and 20 projects, recording (the builder,
// the action table and the view's refresh); an opening from the activation to the panel painted and holding
// the keyboard focus, the first time and later; the process's resident memory over 500 opens and closes. The
// panel is the app's, with its X focus and its click monitor. Usage: bench_popover [opens, default 50]; needs
// $DISPLAY (scripts/with-test-services).
#include "CrowdedMenu.h"
#include "os/linux/X11Panels.h"
#include "os/linux/X11PressMonitor.h"
#include "os/linux/X11WindowActivation.h"
#include "surfaces/popover/PopoverController.h"
#include "surfaces/popover/PopoverPanel.h"
#include "surfaces/popover/PopoverView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QWindow>
#include <algorithm>
#include <cstdio>

namespace {

// Runs the event loop until `done`; false after ten seconds.
template <class Done> bool waitFor(Done done) {
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > 10000) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

double residentMB() {
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly)) return 0;
    return statm.readAll().split(' ').value(1).toDouble() * 4096 / (1024 * 1024);
}

double percentile(std::vector<double> v, double p) {
    std::sort(v.begin(), v.end());
    return v.at(std::min(v.size() - 1, size_t(p * double(v.size()))));
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const int opens = argc > 1 ? std::max(2, atoi(argv[1])) : 50;
    QTemporaryDir dir;
    QSettings defaults(dir.filePath(QStringLiteral("d.ini")), QSettings::IniFormat);
    MenuModel model(defaults);
    const MenuInputs in = bench::crowded(0);
    os::X11PressMonitor presses;
    const auto panelOf = [&](MenuModel& m, std::function<void()> onOpen) {
        return std::make_unique<PopoverController>(PopoverController::Needs{
            m,
            {&os::x11CompositingManagerRuns, [](QWindow& w) { os::x11OnAllDesktops(w); }},
            [] { return Motion(true); },
            presses,
            [](WId w) { os::focusX11Window(quint32(w)); },
            std::move(onOpen),
            systemNow});
    };
    // The reference: the same window with an empty state, opened the same way.
    QSettings emptyDefaults(dir.filePath(QStringLiteral("e.ini")), QSettings::IniFormat);
    MenuModel empty(emptyDefaults);
    const std::unique_ptr<PopoverController> bare = panelOf(empty, [] {});
    const std::unique_ptr<PopoverController> full = panelOf(model, [&] { bench::rebuild(model, in); });

    // One opening: from the activation until the panel has the focus, which comes after its first exposure.
    const auto openOnce = [&](PopoverController& popover) -> double {
        QElapsedTimer timer;
        timer.start();
        popover.open({});
        if (!waitFor([&] { return QGuiApplication::focusWindow() == popover.panel()->windowHandle(); }))
            return -1;
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        popover.close();
        waitFor([&] { return QGuiApplication::focusWindow() != popover.panel()->windowHandle(); });
        return ms;
    };
    const double first = openOnce(*full);
    const double bareFirst = openOnce(*bare);
    std::vector<double> warm, bareWarm;
    for (int i = 0; i < opens; ++i) {
        warm.push_back(openOnce(*full));
        bareWarm.push_back(openOnce(*bare));
    }

    std::vector<double> rebuilds;
    for (int i = 0; i < 200; ++i) {
        QElapsedTimer timer;
        timer.start();
        bench::rebuild(model, in);
        rebuilds.push_back(double(timer.nsecsElapsed()) / 1e6);
    }

    const double before = residentMB();
    for (int i = 0; i < 500; ++i)
        openOnce(*full);
    const double after = residentMB();

    std::printf("open, first: %.1f ms (empty panel: %.1f ms)\n", first, bareFirst);
    std::printf("open, later: p50 %.1f ms, p95 %.1f ms (empty panel: p50 %.1f ms, p95 %.1f ms; %d opens)\n",
                percentile(warm, 0.5), percentile(warm, 0.95), percentile(bareWarm, 0.5),
                percentile(bareWarm, 0.95), opens);
    std::printf("rebuild with 200 to-dos, 10 cards, 20 projects: p50 %.2f ms, p95 %.2f ms\n",
                percentile(rebuilds, 0.5), percentile(rebuilds, 0.95));
    std::printf("resident memory: %.1f MB before 500 opens, %.1f MB after (%+.1f MB)\n", before, after,
                after - before);
    return 0;
}
