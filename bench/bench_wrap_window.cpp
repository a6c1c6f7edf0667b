// The end-of-day window's memory over many opens and closes. Each open is a run as the user sees it: a new
// model, the window shown through the app's window box and brought forward, its first paint while the server
// writes, then the finished day drawn in, then closed. Reference in the same run: the settings window opened
// and closed the same way and as often, and a bare window with one label. Usage: bench_wrap_window [opens,
// default 200]; needs $DISPLAY (scripts/with-test-services).
#include "WindowMeasures.h"
#include "app/Services.h"
#include "app/WrapSamples.h"
#include "surfaces/WindowBox.h"
#include "surfaces/WrapView.h"
#include "workday/WrapModel.h"

#include <QApplication>
#include <QLabel>
#include <QPixmapCache>
#include <QTimer>
#include <cstdio>
#include <malloc.h>

namespace {

// One open: the window on its view, painted; `then` changes what it shows and waits for that paint too.
void openAndClose(WindowBox& box, const QString& key, QWidget* view, const std::function<void()>& then) {
    QWidget* window = box.show(key, QStringLiteral("End my day"), view);
    if (!painted(*view)) std::fprintf(stderr, "no paint within 10 s\n");
    if (then) {
        then();
        if (!painted(*view)) std::fprintf(stderr, "no second paint within 10 s\n");
    }
    window->close();
    // The window goes by deleteLater, which a loop of the bench's own does not run.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const int opens = argc > 1 ? std::atoi(argv[1]) : 200;
    SettingsViews settingsViews;
    WindowBox box(Services::windowBringer());

    using Open = std::function<void()>;
    const Open bare = [&] {
        openAndClose(box, QStringLiteral("bare"), new QLabel(QStringLiteral("Orvane")), {});
    };
    const Open settingsWindow = [&] { openAndClose(box, SettingsView::windowKey, settingsViews.make(), {}); };
    const Open wrapWindow = [&] {
        auto model =
            std::make_shared<WrapModel>(QUrl(QStringLiteral("https://orvane.app/app/p/launch/#/board")));
        openAndClose(box, WrapView::windowKey, new WrapView(model, settingsViews.browser()), [&model] {
            model->setResult(WrapSamples::day());
            model->stop();
        });
    };

    for (const auto& [name, open] : {std::pair<const char*, Open>{"bare window (reference)", bare},
                                     {"settings window (reference)", settingsWindow},
                                     {"end-of-day window", wrapWindow}}) {
        open(); // the first of each makes what every later one shares: fonts, styles, the platform's window
        malloc_trim(0);
        const double before = residentMB();
        for (int i = 0; i < opens; ++i)
            open();
        malloc_trim(0);
        const double after = residentMB();
        // Qt's style keeps drawn controls in its pixmap cache, up to a limit: bounded, not held by the
        // window.
        QPixmapCache::clear();
        malloc_trim(0);
        std::printf("%-28s %d opens and closes: resident %.1f -> %.1f MB (%+.1f MB; %+.1f MB without Qt's "
                    "pixmap cache), %lld windows left\n",
                    name, opens, before, after, after - before, residentMB() - before,
                    qlonglong(QApplication::topLevelWidgets().size()));
    }
    return 0;
}
