#include "RequiredServices.h"
#include "core/ScreenAccess.h"
#include "os/linux/X11FrameStream.h"
#include "os/linux/X11ScreenSource.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTest>

namespace {
bool movePointer(int x, int y) {
    return QProcess::execute(QStringLiteral("xdotool"),
                             {QStringLiteral("mousemove"), QString::number(x), QString::number(y)}) == 0;
}
} // namespace

// The capture probe against the X server of the test environment (Xvfb under ./scripts/test).
class TestScreenAccess : public QObject {
    Q_OBJECT
private slots:
    void grabsThePrimaryScreenWithThePointer() {
        REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY") &&
                            !QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty(),
                        "an X server with xdotool");
        os::X11ScreenSource screen;
        QVERIFY(screen.readableDisplays() >= 1);
        QVERIFY(ScreenAccess::works(screen));
        // Places on the screen of whatever size the X server has.
        const QSize size = screen.grabPrimary().image.size();
        const QPoint middle(size.width() / 2, size.height() / 2);
        QVERIFY(movePointer(middle.x(), middle.y()));
        const os::ScreenFrame here = screen.grabPrimary();
        QVERIFY(here.complete);
        QCOMPARE(here.image.format(), QImage::Format_RGB32);

        // The shared segment serves the next grab; only the pointer's square differs.
        QVERIFY(movePointer(20, 20));
        const os::ScreenFrame there = screen.grabPrimary();
        QCOMPARE(there.image.size(), size);
        const QRect pointerInTheMiddle(middle - QPoint(2, 2), QSize(24, 32));
        QVERIFY(here.image.copy(pointerInTheMiddle) != there.image.copy(pointerInTheMiddle));
        const QRect farFromBoth(size.width() * 3 / 4, size.height() * 3 / 4, 40, 40);
        QCOMPARE(here.image.copy(farFromBoth), there.image.copy(farFromBoth));
    }

    // Without an X server there is no access, and neither a grab nor a recording of the screen starts.
    void noServerIsNoAccess() {
        const QByteArray display = qgetenv("DISPLAY");
        qputenv("DISPLAY", ":9999");
        os::X11ScreenSource screen;
        const bool works = ScreenAccess::works(screen);
        QVERIFY_THROWS_EXCEPTION(os::ScreenError, screen.grabPrimary());
        qputenv("DISPLAY", display);
        QVERIFY(!works);
        os::X11FrameStream stream(0.05, 1440, QStringLiteral(":9999"));
        try {
            stream.start({[](os::ScreenFrame) {}, [](const QString&) {}});
            QFAIL("a stream started without a display");
        } catch (const os::ScreenError& e) {
            QCOMPARE(QString::fromUtf8(e.what()), QStringLiteral("no display to record"));
        }
    }
};

QTEST_GUILESS_MAIN(TestScreenAccess)
#include "tst_screen_access.moc"
