#include "RequiredServices.h"
#include "os/linux/X11Panels.h"
#include "os/linux/X11PressMonitor.h"
#include "os/linux/X11WindowActivation.h"
#include "support/Rows.h"
#include "surfaces/menu/MenuModel.h"
#include "surfaces/popover/PopoverController.h"
#include "surfaces/popover/PopoverPanel.h"
#include "surfaces/popover/PopoverPlacement.h"

#include <QApplication>
#include <QMouseEvent>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

using PopoverPlacement::Screen;
using testsupport::row;

namespace {
bool xdotool(const QStringList& args) {
    return QProcess::execute(QStringLiteral("xdotool"), args) == 0;
}

QString focusedXWindow() {
    QProcess p;
    p.start(QStringLiteral("xdotool"), {QStringLiteral("getwindowfocus")});
    p.waitForFinished();
    return QString::fromLatin1(p.readAllStandardOutput()).trimmed();
}

// A window of the user's: it counts the presses that reach it.
class Target : public QWidget {
public:
    int presses = 0;

protected:
    void mousePressEvent(QMouseEvent*) override { ++presses; }
};

constexpr int margin = 12;
const QSize outer(348 + 2 * margin, 476 + 2 * margin);
const Screen wide{{0, 0, 1920, 1080}, {0, 28, 1920, 1052}};
} // namespace

class TestPopover : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QSettings m_defaults{m_dir.filePath(QStringLiteral("d.ini")), QSettings::IniFormat};
    MenuModel m_model{m_defaults};
    QStringList m_ran;
    QDateTime m_now = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
    std::unique_ptr<os::X11PressMonitor> m_presses;
    std::unique_ptr<PopoverController> m_popover;

    void openAndWaitForFocus() {
        m_popover->open({});
        QTRY_COMPARE_WITH_TIMEOUT(focusedXWindow(), QString::number(m_popover->panel()->winId()), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(QGuiApplication::focusWindow(), m_popover->panel()->windowHandle(), 5000);
    }

    // The user's window on the screen, then the panel open over it with the focus.
    void showThenOpen(Target& target) {
        target.setGeometry(100, 300, 300, 200);
        target.show();
        QVERIFY(QTest::qWaitForWindowExposed(&target));
        openAndWaitForFocus();
    }

private slots:
    void placement_data() {
        QTest::addColumn<QList<Screen>>("screens");
        QTest::addColumn<QRect>("icon");
        QTest::addColumn<QPoint>("pointer");
        QTest::addColumn<QRect>("card");
        row("an icon on a top panel: under it, 4 inside the right edge", QList{wide}, QRect(1800, 2, 24, 24),
            QPoint(1810, 10), QRect(1568, 28, 348, 476));
        row("an icon on a bottom panel: above it", QList{Screen{{0, 0, 1920, 1080}, {0, 0, 1920, 1052}}},
            QRect(900, 1056, 24, 24), QPoint(910, 1060), QRect(737, 576, 348, 476));
        row("an icon on a left panel: beside it, clear of the panel",
            QList{Screen{{0, 0, 1920, 1080}, {48, 0, 1872, 1080}}}, QRect(12, 400, 24, 24), QPoint(20, 410),
            QRect(52, 400, 348, 476));
        row("a 640-wide screen: 4 inside, and no taller than the free area",
            QList{Screen{{0, 0, 640, 480}, {0, 24, 640, 456}}}, QRect(616, 0, 24, 24), QPoint(620, 10),
            QRect(288, 24, 348, 456));
        row("no icon geometry, the pointer on the panel: at the pointer", QList{wide}, QRect(),
            QPoint(1000, 10), QRect(826, 28, 348, 476));
        row("a stale icon off every screen, the pointer in the free area: top right", QList{wide},
            QRect(3000, 5, 24, 24), QPoint(500, 500), QRect(1920 - 8 - 348 - margin, 28 + margin, 348, 476));
        row("an icon across the edge of two screens: top right of the main one",
            QList{wide, Screen{{1920, 0, 1280, 1024}, {1920, 28, 1280, 996}}}, QRect(1910, 2, 24, 24),
            QPoint(500, 500), QRect(1920 - 8 - 348 - margin, 28 + margin, 348, 476));
        row("two screens: the icon's screen",
            QList{wide, Screen{{1920, 0, 1280, 1024}, {1920, 28, 1280, 996}}}, QRect(3150, 2, 24, 24),
            QPoint(3160, 10), QRect(2848, 28, 348, 476));
    }
    void placement() {
        QFETCH(QList<Screen>, screens);
        QFETCH(QRect, icon);
        QFETCH(QPoint, pointer);
        QFETCH(QRect, card);
        const QRect frame = PopoverPlacement::frame({icon, pointer, screens, outer, margin});
        QCOMPARE(frame.adjusted(margin, margin, -margin, -margin), card);
    }

    void initTestCase() {
        if (QGuiApplication::platformName() != QLatin1String("xcb")) return;
        m_presses = std::make_unique<os::X11PressMonitor>();
        m_popover = std::make_unique<PopoverController>(PopoverController::Needs{
            m_model,
            {&os::x11CompositingManagerRuns, [](QWindow& w) { os::x11OnAllDesktops(w); }},
            [] { return Motion(true); },
            *m_presses,
            [](WId w) { os::focusX11Window(quint32(w)); },
            [this] {
                m_model.begin();
                for (const QString& id :
                     {QStringLiteral("rec"), QStringLiteral("q.pin"), QStringLiteral("f.quit")})
                    m_model.act(id, [this, id] { m_ran << id; });
                m_model.commit({});
            },
            [this] { return m_now; }});
    }

    void init() {
        REQUIRE_SERVICE(m_popover, "An X display");
        m_ran.clear();
        m_popover->close();
        m_now = m_now.addSecs(10);
        // The window manager hands the focus on once the panel is gone; opening before that would lose it.
        QTRY_VERIFY_WITH_TIMEOUT(
            !m_popover->panel() || focusedXWindow() != QString::number(m_popover->panel()->winId()), 5000);
    }

    // It takes the focus itself, so its keys work at once; ↓ ↓ Return runs the second row and closes.
    void keysWorkAtOnce_data() {
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QStringList>("ran");
        QTest::addColumn<bool>("open");
        row("down, down, Return: the second row, closed", QStringList{"Down", "Down", "Return"},
            QStringList{"q.pin"}, false);
        row("up, Return: the last row", QStringList{"Up", "Return"}, QStringList{"f.quit"}, false);
        row("Return with nothing selected: nothing, still open", QStringList{"Return"}, QStringList{}, true);
        row("Escape: closed", QStringList{"Escape"}, QStringList{}, false);
    }
    void keysWorkAtOnce() {
        QFETCH(QStringList, keys);
        QFETCH(QStringList, ran);
        QFETCH(bool, open);
        openAndWaitForFocus();
        QVERIFY(xdotool(QStringList{QStringLiteral("key"), QStringLiteral("--delay"), QStringLiteral("30")} +
                        keys));
        // The key after them shows that they have all arrived.
        QVERIFY(xdotool({QStringLiteral("key"), QStringLiteral("shift")}));
        QTRY_COMPARE_WITH_TIMEOUT(m_ran, ran, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(m_popover->panel()->isVisible(), open, 5000);
    }

    // A click on another window closes the panel and still reaches that window; the activation the same
    // click brings from the tray right after does not open it again.
    void aClickElsewhereClosesAndReachesItsTarget() {
        Target target;
        showThenOpen(target);
        QVERIFY(xdotool({QStringLiteral("mousemove"), QStringLiteral("--window"),
                         QString::number(target.winId()), QStringLiteral("100"), QStringLiteral("100"),
                         QStringLiteral("click"), QStringLiteral("1")}));
        QTRY_VERIFY_WITH_TIMEOUT(!m_popover->isOpen(), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(target.presses, 1, 5000);

        m_now = m_now.addMSecs(100);
        m_popover->toggle({});
        QVERIFY(!m_popover->isOpen());
        m_now = m_now.addMSecs(PopoverController::reopenGuard.count());
        m_popover->toggle({});
        QVERIFY(m_popover->isOpen());
        m_popover->toggle({});
        QVERIFY(!m_popover->isOpen());
    }

    // Alt+Tab, or a window that comes up by itself, takes the focus: the panel goes.
    void anotherWindowTakingTheFocusClosesIt() {
        Target target;
        showThenOpen(target);
        QVERIFY(xdotool({QStringLiteral("windowactivate"), QString::number(target.winId())}));
        QTRY_VERIFY_WITH_TIMEOUT(!m_popover->isOpen(), 5000);
        QCOMPARE(target.presses, 0);
    }

    void cleanupTestCase() { m_popover.reset(); }
};

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("DISPLAY")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    TestPopover test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_popover.moc"
