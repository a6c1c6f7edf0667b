// The settings window from `openSettings` to its first paint, the first time (fonts, styles and widgets made
// cold) and later, against a bare window with one label opened the same way; then the process's resident
// memory across 200 opens and closes. The window is shown through the app's window box with the app's way of
// bringing it forward. Usage: bench_settings [opens, default 30]; needs $DISPLAY
// (scripts/with-test-services).
#include "WindowMeasures.h"
#include "app/Services.h"
#include "surfaces/WindowBox.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QPixmapCache>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <malloc.h>

namespace {

// Milliseconds from asking for the window to its first paint.
double openMs(WindowBox& box, const std::function<QWidget*()>& make) {
    QElapsedTimer timer;
    timer.start();
    QWidget* view = make();
    box.show(QStringLiteral("bench"), QStringLiteral("Orvane Settings"), view);
    if (!painted(*view)) std::fprintf(stderr, "no paint within 10 s\n");
    return double(timer.nsecsElapsed()) / 1e6;
}

void closeAll(WindowBox& box) {
    if (QWidget* window = box.window(QStringLiteral("bench"))) window->close();
    // The window goes by deleteLater, which a loop of the bench's own does not run.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const int opens = argc > 1 ? std::atoi(argv[1]) : 30;
    SettingsViews settingsViews;
    WindowBox box(Services::windowBringer());

    const auto settingsView = [&] { return settingsViews.make(); };
    const auto bareView = [] { return new QLabel(QStringLiteral("Orvane")); };

    // The first of each is cold; the bare window goes first so that the settings window's first open does
    // not profit from the platform's own first window.
    for (const auto& [name, make] :
         {std::pair<const char*, std::function<QWidget*()>>{"bare window (reference)", bareView},
          {"settings window", settingsView}}) {
        QList<double> ms;
        double first = 0;
        for (int i = 0; i <= opens; ++i) {
            const double t = openMs(box, make);
            if (i == 0)
                first = t;
            else
                ms.append(t);
            closeAll(box);
        }
        std::sort(ms.begin(), ms.end());
        std::printf("%-26s first %7.1f ms   later p50 %6.1f  p95 %6.1f ms\n", name, first, ms[ms.size() / 2],
                    ms[qsizetype(0.95 * double(ms.size() - 1))]);
    }

    // Memory: the bare window's 200 as the reference for what the platform itself keeps per window.
    for (const auto& [name, make] :
         {std::pair<const char*, std::function<QWidget*()>>{"bare window (reference)", bareView},
          {"settings window", settingsView}}) {
        malloc_trim(0);
        const double before = residentMB();
        for (int i = 0; i < 200; ++i) {
            openMs(box, make);
            closeAll(box);
        }
        malloc_trim(0);
        const double after = residentMB();
        // Qt's style keeps drawn controls in its pixmap cache, up to a limit: bounded, not held by the
        // window.
        QPixmapCache::clear();
        malloc_trim(0);
        std::printf("%-26s 200 opens and closes: resident %.1f -> %.1f MB (%+.1f MB; %+.1f MB without Qt's "
                    "pixmap cache), %lld windows left\n",
                    name, before, after, after - before, residentMB() - before,
                    qlonglong(QApplication::topLevelWidgets().size()));
    }
    return 0;
}
