#include "support/Swatch.h"
#include "RequiredServices.h"
#include "os/linux/X11FrameStream.h"
#include "os/linux/X11ScreenSource.h"

#include <QGuiApplication>
#include <QPainter>
#include <QProcess>
#include <QRasterWindow>
#include <QStandardPaths>
#include <QTest>
#include <cstring>
#include <mutex>
#include <unistd.h>
#include <xcb/randr.h>
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
        xcb_change_property(m_c, XCB_PROP_MODE_REPLACE, m_window, pidAtom->atom, XCB_ATOM_CARDINAL, 32, 1, &parent);
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

bool near(QRgb a, QRgb b) {
    return std::abs(qRed(a) - qRed(b)) <= 8 && std::abs(qGreen(a) - qGreen(b)) <= 8 &&
           std::abs(qBlue(a) - qBlue(b)) <= 8;
}

// A private X server, so that it can be resized and killed without disturbing the other tests.
class PrivateXServer {
public:
    bool start() {
        m_server.start(QStringLiteral("Xvfb"), {QStringLiteral("-displayfd"), QStringLiteral("1"),
                                                QStringLiteral("-screen"), QStringLiteral("0"),
                                                QStringLiteral("800x600x24"), QStringLiteral("-nolisten"),
                                                QStringLiteral("tcp")});
        if (!m_server.waitForStarted())
            return false;
        while (!m_server.canReadLine())
            if (!m_server.waitForReadyRead(10000))
                return false;
        m_display = QStringLiteral(":") + QString::fromLatin1(m_server.readLine().trimmed());
        return true;
    }
    ~PrivateXServer() {
        m_server.kill();
        m_server.waitForFinished();
    }
    const QString& display() const { return m_display; }
    void kill() {
        m_server.kill();
        m_server.waitForFinished();
    }

    // Shrinks the screen as xrandr does: a new mode on the one output, then the screen's new size.
    bool shrinkTo(uint16_t width, uint16_t height) {
        xcb_connection_t* c = xcb_connect(m_display.toLatin1().constData(), nullptr);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
        std::free(xcb_randr_query_version_reply(c, xcb_randr_query_version(c, 1, 5), nullptr));
        auto* resources = xcb_randr_get_screen_resources_reply(c, xcb_randr_get_screen_resources(c, root), nullptr);
        xcb_randr_crtc_t crtc = xcb_randr_get_screen_resources_crtcs(resources)[0];
        xcb_randr_output_t output = xcb_randr_get_screen_resources_outputs(resources)[0];
        xcb_randr_mode_info_t info{};
        info.width = width;
        info.height = height;
        info.htotal = width;
        info.vtotal = height;
        info.dot_clock = uint32_t(width) * height * 60;
        const QByteArray name = QByteArray::number(width) + 'x' + QByteArray::number(height);
        info.name_len = uint16_t(name.size());
        auto* mode = xcb_randr_create_mode_reply(c, xcb_randr_create_mode(c, root, info, name.size(), name.constData()),
                                                 nullptr);
        bool done = false;
        if (mode) {
            xcb_randr_add_output_mode(c, output, mode->mode);
            auto* set = xcb_randr_set_crtc_config_reply(
                c,
                xcb_randr_set_crtc_config(c, crtc, XCB_CURRENT_TIME, resources->config_timestamp, 0, 0, mode->mode,
                                          XCB_RANDR_ROTATION_ROTATE_0, 1, &output),
                nullptr);
            xcb_generic_error_t* error =
                xcb_request_check(c, xcb_randr_set_screen_size_checked(c, root, width, height, width / 4, height / 4));
            done = set && set->status == XCB_RANDR_SET_CONFIG_SUCCESS && !error;
            std::free(set);
            std::free(error);
        }
        std::free(mode);
        std::free(resources);
        xcb_disconnect(c);
        return done;
    }

private:
    QProcess m_server;
    QString m_display;
};

const QRgb background = qRgb(0, 128, 128);
const QRgb ours = qRgb(255, 0, 255);
const QRgb theirs = qRgb(255, 255, 0);

} // namespace

// The recording's frames from the X server of the test environment (Xvfb at 1920x1080 with openbox), and
// from a private Xvfb that the tests resize and kill.
class TestFrameStream : public QObject {
    Q_OBJECT
private slots:
    void paintsOutOwnWindowsOnly() {
        REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY"), "an X server");
        const QRect screen(0, 0, 1920, 1080);
        ForeignWindow desktop(screen, background);
        desktop.stack(XCB_STACK_MODE_BELOW);
        // Two windows of ours, one in openbox's frame, one a popup of its own (override-redirect).
        Swatch nudge(QColor::fromRgb(ours));
        nudge.setGeometry(600, 300, 400, 200);
        nudge.show();
        Swatch tooltip(QColor::fromRgb(ours));
        tooltip.setFlags(Qt::ToolTip);
        tooltip.setGeometry(100, 700, 300, 100);
        tooltip.show();
        QVERIFY(QTest::qWaitForWindowExposed(&nudge));
        QVERIFY(QTest::qWaitForWindowExposed(&tooltip));
        ForeignWindow above(QRect(900, 400, 300, 200), theirs);
        above.stack(XCB_STACK_MODE_ABOVE);

        const QPoint nudgeOnly(700, 400), overlap(950, 450), tooltipAt(250, 750), elsewhere(300, 200);
        // Without the eraser our windows are on screen: the checks below are not vacuous.
        const QImage plain = os::X11ScreenSource().grabPrimary().image;
        QVERIFY(plain.size() == screen.size());
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
        REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY"), "an X server");
        QFETCH(int, maxWidth);
        QFETCH(QSize, size);
        Collected collected;
        os::X11FrameStream stream(0.05, maxWidth);
        QCOMPARE(stream.start(collected.receiver()), size);
        const os::ScreenFrame frame = frameAfter(collected, 0);
        stream.stop();
        QCOMPARE(frame.image.size(), size);
        QCOMPARE(frame.image.format(), QImage::Format_RGB32);
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
        QTRY_VERIFY_WITH_TIMEOUT(collected.frameCount() > before && collected.last().image.size() == QSize(640, 480),
                                 10000);

        server.kill();
        QTRY_COMPARE_WITH_TIMEOUT(collected.stopCount(), 1, 10000);
        QTest::qWait(300); // a dozen intervals: neither a frame nor a second stop may follow
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
    // Real windows on the X server, the ones the stream must leave out; without one the tests that need it skip.
    qputenv("QT_QPA_PLATFORM", qEnvironmentVariableIsEmpty("DISPLAY") ? "offscreen" : "xcb");
    QGuiApplication app(argc, argv);
    TestFrameStream test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_frame_stream.moc"
