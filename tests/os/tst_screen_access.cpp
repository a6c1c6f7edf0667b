#include "RequiredServices.h"
#include "core/ScreenAccess.h"
#include "os/linux/X11ScreenSource.h"

#include <QTest>

// The capture probe against the X server of the test environment (Xvfb under ./scripts/test).
class TestScreenAccess : public QObject {
    Q_OBJECT
private slots:
    void readsTheRunningXServer() {
        REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY"), "an X server");
        os::X11ScreenSource screen;
        QVERIFY(screen.readableDisplays() >= 1);
        QVERIFY(ScreenAccess::works(screen));
    }

    void noServerIsNoAccess() {
        const QByteArray display = qgetenv("DISPLAY");
        qputenv("DISPLAY", ":9999");
        os::X11ScreenSource screen;
        const bool works = ScreenAccess::works(screen);
        qputenv("DISPLAY", display);
        QVERIFY(!works);
    }
};

QTEST_GUILESS_MAIN(TestScreenAccess)
#include "tst_screen_access.moc"
