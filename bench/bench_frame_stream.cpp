// One frame of a recording's stream (X11FrameCamera::take) on a desktop of ten windows of another client,
// with two windows of ours painted out and with none mapped; the plain grab of the same screen
// (X11ScreenSource) is the reference. Run by bench/frame-stream.sh, which starts a private Xvfb at 1440x900
// with openbox and passes the server's pid in XVFB_PID, so the server's own CPU time per frame is counted too
// (`server_ms`).

#include "os/linux/X11FrameCamera.h"
#include "os/linux/X11ScreenSource.h"
#include "support/Swatch.h"

#include <QFile>
#include <QGuiApplication>
#include <QPainter>
#include <QRasterWindow>
#include <benchmark/benchmark.h>
#include <unistd.h>
#include <xcb/xcb.h>

namespace {

// Ten windows of another client under ours: a full-screen one and nine in a grid, each in its own colour.
class ForeignDesktop {
public:
    ForeignDesktop() : m_c(xcb_connect(nullptr, nullptr)) {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_c)).data;
        add(screen, 0, 0, screen->width_in_pixels, screen->height_in_pixels, 0x336699);
        for (int i = 0; i < 9; ++i)
            add(screen, 60 + (i % 3) * 450, 40 + (i / 3) * 280, 420, 260, 0x202020 + 0x151515 * uint32_t(i));
        std::free(xcb_get_input_focus_reply(m_c, xcb_get_input_focus(m_c), nullptr));
    }
    ~ForeignDesktop() { xcb_disconnect(m_c); }

private:
    void add(const xcb_screen_t* screen, int x, int y, int width, int height, uint32_t colour) {
        const xcb_window_t window = xcb_generate_id(m_c);
        const uint32_t values[] = {colour, 1};
        xcb_create_window(m_c, XCB_COPY_FROM_PARENT, window, screen->root, int16_t(x), int16_t(y),
                          uint16_t(width), uint16_t(height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        xcb_map_window(m_c, window);
    }

    xcb_connection_t* m_c;
};

// The X server's user + system CPU time so far, in seconds; 0 without XVFB_PID.
double serverSeconds() {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(qEnvironmentVariable("XVFB_PID")));
    if (qEnvironmentVariableIsEmpty("XVFB_PID") || !stat.open(QIODevice::ReadOnly)) return 0;
    const QList<QByteArray> fields = stat.readAll().split(')').last().split(' ');
    // After the name: state is field 3, utime 14, stime 15; split leaves an empty field first.
    return (fields[12].toDouble() + fields[13].toDouble()) / double(sysconf(_SC_CLK_TCK));
}

void showAndWait(QWindow& window) {
    window.show();
    while (!window.isExposed())
        QGuiApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
}

template <class Grab> void measure(benchmark::State& state, Grab grab) {
    grab(); // connects, redirects and attaches the shared segment once, as a recording does
    const double serverBefore = serverSeconds();
    for (auto _ : state)
        benchmark::DoNotOptimize(grab());
    state.counters["server_ms"] = (serverSeconds() - serverBefore) * 1000 / double(state.iterations());
}

void plainGrab(benchmark::State& state) {
    os::X11ScreenSource screen;
    measure(state, [&] { return screen.grabPrimary(); });
}

void streamGrab(benchmark::State& state) {
    Swatch nudge(Qt::magenta), hud(Qt::cyan);
    nudge.setGeometry(900, 60, 420, 120);
    hud.setGeometry(500, 760, 440, 90);
    if (state.range(0) > 0) {
        showAndWait(nudge);
        showAndWait(hud);
    }
    os::X11FrameCamera camera(QString(), 1440);
    measure(state, [&] { return camera.take(); });
}

} // namespace

BENCHMARK(plainGrab)->Unit(benchmark::kMillisecond);
BENCHMARK(streamGrab)->ArgName("ownWindows")->Arg(0)->Arg(2)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication app(argc, argv);
    ForeignDesktop desktop;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
