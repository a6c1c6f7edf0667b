#include "RequiredServices.h"
#include "os/linux/X11FrameStream.h"
#include "os/linux/X11ScreenSource.h"
#include "support/ForeignWindow.h"
#include "support/PrivateXServer.h"
#include "support/Swatch.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QTest>
#include <mutex>
#include <unistd.h>

namespace {

// What a stream hands out, collected across its thread.
struct Collected {
    std::mutex mutex;
    QList<os::ScreenFrame> frames;
    QStringList stops;
    int framesAfterStop = 0;
    int unchanged = 0;

    os::FrameStream::Receiver receiver() {
        return {[this](os::ScreenFrame frame) {
                    std::lock_guard lock(mutex);
                    framesAfterStop += stops.isEmpty() ? 0 : 1;
                    frames.append(std::move(frame));
                },
                [this](const QString& error) {
                    std::lock_guard lock(mutex);
                    stops.append(error);
                },
                [this] {
                    std::lock_guard lock(mutex);
                    ++unchanged;
                }};
    }
    int unchangedCount() {
        std::lock_guard lock(mutex);
        return unchanged;
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

// A frame taken after everything asked for is on screen: a new one, or the word that the last one still
// shows the screen.
os::ScreenFrame frameAfter(Collected& collected, qsizetype count) {
    const int unchanged = collected.unchangedCount();
    [&] {
        QTRY_VERIFY_WITH_TIMEOUT(collected.frameCount() > count || collected.unchangedCount() > unchanged + 1,
                                 10000);
    }();
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
        ForeignWindow desktop(screen, background, uint32_t(getppid()));
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
        ForeignWindow above(rect(45, 40, 15, 20), theirs, uint32_t(getppid()));
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

    // A frame is grabbed only when something was drawn since the last one: not for a pointer that moved, and
    // on every tick where the server cannot say.
    void grabsOnlyWhatWasDrawn_data() {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<bool>("damage");
        QTest::newRow("the server tells what was drawn") << QStringList() << true;
        QTest::newRow("a server without DAMAGE")
            << QStringList{QStringLiteral("-extension"), QStringLiteral("DAMAGE")} << false;
    }
    void grabsOnlyWhatWasDrawn() {
        REQUIRE_SERVICE(xvfbInstalled(), "Xvfb");
        QFETCH(QStringList, options);
        QFETCH(bool, damage);
        PrivateXServer server;
        QVERIFY(server.start(QStringLiteral("640x480x24"), options));
        Collected collected;
        os::X11FrameStream stream(0.05, 1440, server.display());
        stream.start(collected.receiver());
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DISPLAY"), server.display());
        const auto movePointer = [&](int x, int y) {
            QProcess xdotool;
            xdotool.setProcessEnvironment(environment);
            xdotool.start(QStringLiteral("xdotool"),
                          {QStringLiteral("mousemove"), QString::number(x), QString::number(y)});
            return xdotool.waitForFinished() && xdotool.exitCode() == 0;
        };
        const auto ticksAfter = [&](int ticks) {
            const qsizetype frames = collected.frameCount();
            const int unchanged = collected.unchangedCount();
            return [&collected, frames, unchanged, ticks] {
                return collected.frameCount() - frames + collected.unchangedCount() - unchanged >= ticks;
            };
        };

        // Settled: the screen as it was when the stream began.
        const auto settling = ticksAfter(3);
        QTRY_VERIFY_WITH_TIMEOUT(settling(), 10000);
        const qsizetype settled = collected.frameCount();
        for (int step = 0; step < 5; ++step)
            QVERIFY(movePointer(100 + 40 * step, 100 + 20 * step));
        const auto later = ticksAfter(5);
        QTRY_VERIFY_WITH_TIMEOUT(later(), 10000);
        if (damage) {
            QCOMPARE(collected.frameCount(), settled);
        } else {
            QVERIFY(collected.frameCount() >= settled + 5);
            QCOMPARE(collected.unchangedCount(), 0);
        }

        ForeignWindow drawn(QRect(100, 100, 200, 100), theirs, 0, server.display());
        QVERIFY(drawn.open());
        QTRY_VERIFY_WITH_TIMEOUT(near(collected.last().image.pixel(150, 150), theirs), 10000);
        // Drawing inside a window that is on screen already.
        QImage repainted(drawn.size(), QImage::Format_RGB32);
        repainted.fill(ours);
        drawn.show(repainted);
        QTRY_VERIFY_WITH_TIMEOUT(near(collected.last().image.pixel(150, 150), ours), 10000);
    }

    // Frames are narrowed to the width asked for and follow the display when it is resized, until it goes.
    void followsTheDisplayUntilItGoesAway_data() {
        QTest::addColumn<int>("maxWidth");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QSize>("resized");
        QTest::newRow("at most 1440 wide, a narrower screen as it is")
            << 1440 << QSize(1440, 810) << QSize(640, 480);
        QTest::newRow("never less than two rows") << 1 << QSize(1, 2) << QSize(1, 2);
    }
    void followsTheDisplayUntilItGoesAway() {
        REQUIRE_SERVICE(xvfbInstalled(), "Xvfb");
        QFETCH(int, maxWidth);
        QFETCH(QSize, size);
        QFETCH(QSize, resized);
        PrivateXServer server;
        QVERIFY(server.start(QStringLiteral("1920x1080x24")));
        Collected collected;
        os::X11FrameStream stream(0.05, maxWidth, server.display());
        stream.stop(); // before the start: nothing to do
        QCOMPARE(stream.start(collected.receiver()), size);
        const os::ScreenFrame frame = frameAfter(collected, 0);
        QCOMPARE(frame.image.size(), size);
        QCOMPARE(frame.image.format(), QImage::Format_RGB32);
        QVERIFY(frame.complete);

        QVERIFY(server.shrinkTo(640, 480));
        const qsizetype before = collected.frameCount();
        QTRY_VERIFY_WITH_TIMEOUT(collected.frameCount() > before && collected.last().image.size() == resized,
                                 10000);

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
