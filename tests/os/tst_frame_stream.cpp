#include "RequiredServices.h"
#include "os/linux/X11FrameStream.h"
#include "os/linux/X11ScreenSource.h"
#include "support/PrivateXServer.h"
#include "support/Swatch.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QPainter>
#include <QRasterWindow>
#include <QStandardPaths>
#include <QTest>
#include <cstring>
#include <mutex>
#include <unistd.h>
#include <xcb/xcb.h>

namespace {

// A window of another X client, in one solid colour, that names another process as its owner. It is
// override-redirect so that it sits exactly where it is put and stays where it is stacked.
class ForeignWindow {
public:
    ForeignWindow(const QRect& rect, QRgb colour) : m_c(xcb_connect(nullptr, nullptr)) {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_c)).data;
        m_window = xcb_generate_id(m_c);
        const uint32_t values[] = {colour & 0xffffff, 1};
        xcb_create_window(m_c, XCB_COPY_FROM_PARENT, m_window, screen->root, rect.x(), rect.y(), rect.width(),
                          rect.height(), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        const char name[] = "_NET_WM_PID";
        xcb_intern_atom_reply_t* pidAtom =
            xcb_intern_atom_reply(m_c, xcb_intern_atom(m_c, 0, std::strlen(name), name), nullptr);
        const uint32_t parent = uint32_t(getppid());
        xcb_change_property(m_c, XCB_PROP_MODE_REPLACE, m_window, pidAtom->atom, XCB_ATOM_CARDINAL, 32, 1,
                            &parent);
        std::free(pidAtom);
        xcb_map_window(m_c, m_window);
        sync();
    }
    ~ForeignWindow() { xcb_disconnect(m_c); }

    void stack(xcb_stack_mode_t where) {
        const uint32_t mode = where;
        xcb_configure_window(m_c, m_window, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
        sync();
    }

private:
    void sync() { std::free(xcb_get_input_focus_reply(m_c, xcb_get_input_focus(m_c), nullptr)); }

    xcb_connection_t* m_c;
    xcb_window_t m_window;
};

// What a stream hands out, collected across its thread.
struct Collected {
    std::mutex mutex;
    QList<os::ScreenFrame> frames;
    QStringList stops;
    int framesAfterStop = 0;

    os::FrameStream::Receiver receiver() {
        return {[this](os::ScreenFrame frame) {
                    std::lock_guard lock(mutex);
                    framesAfterStop += stops.isEmpty() ? 0 : 1;
                    frames.append(std::move(frame));
                },
                [this](const QString& error) {
                    std::lock_guard lock(mutex);
                    stops.append(error);
                }};
    }
    qsizetype frameCount() {
        std::lock_guard lock(mutex);
        return frames.size();
    }
    os::ScreenFrame last() {
        std::lock_guard lock(mutex);
        return frames.last();
    }
    qsizetype stopCount() {
        std::lock_guard lock(mutex);
        return stops.size();
    }
};

// A frame taken after everything asked for is on screen.
os::ScreenFrame frameAfter(Collected& collected, qsizetype count) {
    [&] { QTRY_VERIFY_WITH_TIMEOUT(collected.frameCount() > count, 10000); }();
    return collected.last();
}

bool framesThreadRuns() {
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(task + QStringLiteral("/comm")));
        if (comm.open(QIODevice::ReadOnly) && comm.readAll().trimmed() == "orvane.frames") return true;
    }
    return false;
}

bool near(QRgb a, QRgb b) {
    return std::abs(qRed(a) - qRed(b)) <= 8 && std::abs(qGreen(a) - qGreen(b)) <= 8 &&
           std::abs(qBlue(a) - qBlue(b)) <= 8;
}

const QRgb background = qRgb(0, 128, 128);
const QRgb ours = qRgb(255, 0, 255);
const QRgb theirs = qRgb(255, 255, 0);

} // namespace

// The recording's frames from the X server of the test environment (Xvfb with openbox, of whatever size), and
// from private Xvfb servers of known sizes that the tests resize and kill.
class TestFrameStream : public QObject {
    Q_OBJECT
private slots:
    void paintsOutOwnWindowsOnly() {
        REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY"), "an X server");
        const QImage shared = os::X11ScreenSource().grabPrimary().image;
        const QRect screen(QPoint(), shared.size());
        // Places and sizes in hundredths of the screen.
        const auto rect = [&](int x, int y, int w, int h) {
            return QRect(screen.width() * x / 100, screen.height() * y / 100, screen.width() * w / 100,
                         screen.height() * h / 100);
        };
        ForeignWindow desktop(screen, background);
        desktop.stack(XCB_STACK_MODE_BELOW);
        // Two windows of ours, one in openbox's frame, one a popup of its own (override-redirect).
        Swatch nudge(QColor::fromRgb(ours));
        nudge.setGeometry(rect(30, 30, 20, 20));
        nudge.show();
        Swatch tooltip(QColor::fromRgb(ours));
        tooltip.setFlags(Qt::ToolTip);
        tooltip.setGeometry(rect(5, 65, 15, 10));
        tooltip.show();
        QVERIFY(QTest::qWaitForWindowExposed(&nudge));
        QVERIFY(QTest::qWaitForWindowExposed(&tooltip));
        ForeignWindow above(rect(45, 40, 15, 20), theirs);
        above.stack(XCB_STACK_MODE_ABOVE);

        const QPoint nudgeOnly = rect(35, 35, 0, 0).topLeft(), overlap = rect(47, 42, 0, 0).topLeft(),
                     tooltipAt = rect(10, 70, 0, 0).topLeft(), elsewhere = rect(15, 15, 0, 0).topLeft();
        // Without the eraser our windows are on screen: the checks below are not vacuous.
        const QImage plain = os::X11ScreenSource().grabPrimary().image;
        QVERIFY(near(plain.pixel(nudgeOnly), ours));
        QVERIFY(near(plain.pixel(tooltipAt), ours));

        Collected collected;
        os::X11FrameStream stream(0.05);
        stream.start(collected.receiver());
        const QImage frame = frameAfter(collected, 1).image;
        stream.stop();
        const auto at = [&](QPoint p) { return frame.pixel(p * frame.width() / screen.width()); };
        QVERIFY(near(at(nudgeOnly), background));
        QVERIFY(near(at(tooltipAt), background));
        QVERIFY(near(at(overlap), theirs));
        QVERIFY(near(at(elsewhere), background));
    }

    void narrowsToTheWidth_data() {
        QTest::addColumn<int>("maxWidth");
        QTest::addColumn<QSize>("size");
        QTest::newRow("at most 1440 wide") << 1440 << QSize(1440, 810);
        QTest::newRow("height cut down") << 1000 << QSize(1000, 562);
        QTest::newRow("never taller than two") << 1 << QSize(1, 2);
        QTest::newRow("a narrow screen as it is") << 4000 << QSize(1920, 1080);
    }
    void narrowsToTheWidth() {
        REQUIRE_SERVICE(!QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty(), "Xvfb");
        QFETCH(int, maxWidth);
        QFETCH(QSize, size);
        PrivateXServer server;
        QVERIFY(server.start(QStringLiteral("1920x1080x24")));
        Collected collected;
        os::X11FrameStream stream(0.05, maxWidth, server.display());
        QCOMPARE(stream.start(collected.receiver()), size);
        const os::ScreenFrame frame = frameAfter(collected, 0);
        stream.stop();
        QCOMPARE(frame.image.size(), size);
        QCOMPARE(frame.image.format(), QImage::Format_RGB32);
        QVERIFY(frame.complete);
    }

    void followsTheDisplayUntilItGoesAway() {
        REQUIRE_SERVICE(!QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty(), "Xvfb");
        PrivateXServer server;
        QVERIFY(server.start());
        Collected collected;
        os::X11FrameStream stream(0.05, 1440, server.display());
        stream.stop(); // before the start: nothing to do
        QCOMPARE(stream.start(collected.receiver()), QSize(800, 600));
        QCOMPARE(frameAfter(collected, 0).image.size(), QSize(800, 600));

        QVERIFY(server.shrinkTo(640, 480));
        const qsizetype before = collected.frameCount();
        QTRY_VERIFY_WITH_TIMEOUT(
            collected.frameCount() > before && collected.last().image.size() == QSize(640, 480), 10000);

        server.kill();
        QTRY_COMPARE_WITH_TIMEOUT(collected.stopCount(), 1, 10000);
        // The stream's thread ends by itself once it has told: then neither a frame nor a second stop can
        // follow.
        QTRY_VERIFY_WITH_TIMEOUT(!framesThreadRuns(), 10000);
        stream.stop();
        stream.stop();
        QCOMPARE(collected.stopCount(), 1);
        QCOMPARE(collected.framesAfterStop, 0);
        QVERIFY(collected.stops.first().contains(QLatin1String("connection")));
    }

    void noDisplayNoStream() {
        os::X11FrameStream stream(0.05, 1440, QStringLiteral(":9999"));
        Collected collected;
        try {
            stream.start(collected.receiver());
            QFAIL("a stream started without a display");
        } catch (const os::ScreenError& e) {
            QCOMPARE(QString::fromUtf8(e.what()), QStringLiteral("no display to record"));
        }
        stream.stop();
        QCOMPARE(collected.frameCount(), 0);
    }
};

int main(int argc, char** argv) {
    // Real windows on the X server, the ones the stream must leave out; without one the tests that need it
    // skip.
    qputenv("QT_QPA_PLATFORM", qEnvironmentVariableIsEmpty("DISPLAY") ? "offscreen" : "xcb");
    QGuiApplication app(argc, argv);
    TestFrameStream test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_frame_stream.moc"
