#include "RequiredServices.h"
#include "os/linux/X11Panels.h"
#include "support/ForeignWindow.h"
#include "support/Rows.h"
#include "surfaces/HUDController.h"
#include "surfaces/HUDCorner.h"
#include "surfaces/HUDPanel.h"
#include "surfaces/HUDViews.h"
#include "surfaces/Nudges.h"
#include "surfaces/ScreenNudgeDisplay.h"
#include "surfaces/design/LiveMeter.h"
#include "surfaces/design/OVCard.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QRegularExpression>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>
#include <unistd.h>

using testsupport::row;

namespace {
bool xdotool(const QStringList& args) {
    return QProcess::execute(QStringLiteral("xdotool"), args) == 0;
}

QString run(const QString& program, const QStringList& args) {
    QProcess p;
    p.start(program, args);
    p.waitForFinished();
    return QString::fromLatin1(p.readAllStandardOutput()).trimmed();
}

// One X property of a window as xprop prints it: "_NET_WM_PID(CARDINAL) = 1234" gives "1234".
QString xProperty(const QWidget& window, const char* name) {
    return run(QStringLiteral("xprop"),
               {QStringLiteral("-id"), QString::number(window.winId()), QString::fromLatin1(name)})
        .section(QStringLiteral(" = "), 1);
}

QString activeWindow() {
    return run(QStringLiteral("xdotool"), {QStringLiteral("getactivewindow")});
}

PanelDesktop x11Desktop() {
    return {&os::x11CompositingManagerRuns, [](QWindow& w) { os::x11OnAllDesktops(w); }};
}

QRgb pixelOnScreen(QPoint at) {
    return QGuiApplication::primaryScreen()->grabWindow(0, at.x(), at.y(), 1, 1).toImage().pixel(0, 0);
}

// A recording panel on the test's own settings, as the app makes one.
struct Recording {
    explicit Recording(QSettings& settings)
        : hud(settings, meter, x11Desktop(), [] { return Motion(true); }) {}
    LiveMeter meter;
    HUDController hud;

    HUDPanel& show() {
        hud.show(QDateTime::currentDateTimeUtc(), true);
        return *hud.panel();
    }
};

// The corner as the user sees it: the card's top-right, where the X server has the window.
QPoint cornerOf(const HUDPanel& panel) {
    const QString geometry =
        run(QStringLiteral("xdotool"), {QStringLiteral("getwindowgeometry"), QString::number(panel.winId())});
    static const QRegularExpression position(QStringLiteral("Position: (-?\\d+),(-?\\d+)"));
    const QRegularExpressionMatch m = position.match(geometry);
    const int margin = OVCard::shadowMargin;
    return QPoint(m.captured(1).toInt() + panel.width() - 1 - margin, m.captured(2).toInt() + margin);
}

// Drags the panel by its middle as a user does, and waits until it has let go of it.
bool drag(HUDPanel& panel, QPoint by) {
    QSignalSpy dragged(&panel, &HUDPanel::dragged);
    const QPoint from = panel.cardFrame().center(), to = from + by;
    const auto pointer = [](const QString& action, QPoint at) {
        return xdotool({QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y()), action,
                        QStringLiteral("1")});
    };
    return pointer(QStringLiteral("mousedown"), from) && pointer(QStringLiteral("mouseup"), to) &&
           dragged.wait(5000);
}

QPoint defaultCorner() {
    return HUDCorner::wanted(std::nullopt, {}, QGuiApplication::primaryScreen()->availableGeometry());
}
} // namespace

// The recording panel on a real X server with openbox, acted on with xdotool as a user would.
class TestHUDPanel : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<QSettings> m_settings;

private slots:
    void init() {
        REQUIRE_SERVICE(QGuiApplication::platformName() == QLatin1String("xcb"), "An X server");
        m_settings =
            std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("orvane.conf")), QSettings::IniFormat);
        m_settings->clear();
    }

    void showsWithoutTakingFocusAndOpensTheCardOnAClick() {
        QLineEdit typing;
        typing.setWindowTitle(QStringLiteral("the user's window"));
        typing.setGeometry(200, 300, 400, 80);
        typing.show();
        typing.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&typing, 5000));
        const QString users = activeWindow();

        Recording recording(*m_settings);
        HUDPanel& panel = recording.show();
        QVERIFY(QTest::qWaitForWindowExposed(&panel, 5000));
        QCOMPARE(recording.hud.model().mode(), HUDModel::Mode::pill);
        // Openbox has managed the panel by the time it is exposed: it gave the focus away then, or never.
        QCOMPARE(activeWindow(), users);
        QVERIFY(typing.hasFocus());
        // On every desktop, and named as ours, which is how the recording's frames paint it out.
        QCOMPARE(xProperty(panel, "_NET_WM_DESKTOP"), QStringLiteral("4294967295"));
        QCOMPARE(xProperty(panel, "_NET_WM_PID"), QString::number(getpid()));

        // A nudge beside the panel stays clear of it as it grows.
        auto display = std::make_unique<ScreenNudgeDisplay>([] { return Motion(true); }, x11Desktop());
        ScreenNudgeDisplay& nudgeScreen = *display;
        Nudges nudges(std::move(display));
        nudges.setAvoid([&] { return recording.hud.frame(); });
        recording.hud.onFrameChanged = [&] { nudges.avoidMoved(); };
        nudges.show(
            {.kind = QStringLiteral("callEnded"), .title = QStringLiteral("Call ended \u2014 wrap up?")});
        const auto nudgeClear = [&] {
            const auto* nudge = dynamic_cast<const FloatingPanel*>(nudgeScreen.panel());
            return nudge && !nudge->cardFrame().intersects(*recording.hud.frame());
        };
        QVERIFY(nudgeClear());

        const QPoint pill = recording.hud.frame()->center();
        QVERIFY(xdotool({QStringLiteral("mousemove"), QString::number(pill.x()), QString::number(pill.y()),
                         QStringLiteral("click"), QStringLiteral("1")}));
        QTRY_COMPARE_WITH_TIMEOUT(recording.hud.model().mode(), HUDModel::Mode::card, 5000);
        QCOMPARE(m_settings->value("hud.mode").toString(), QStringLiteral("card"));
        // The card grows from the same corner, and the click left the user's window in front.
        QTRY_COMPARE_WITH_TIMEOUT(panel.width(), HUDCard::width + 2 * OVCard::shadowMargin, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(cornerOf(panel), defaultCorner(), 5000);
        QCOMPARE(activeWindow(), users);
        QVERIFY(typing.hasFocus());

        // Rows make the card taller downward, every row shown at its full height.
        const QStringList texts{QStringLiteral("let's move the launch to Thursday"),
                                QStringLiteral("Figma — Launch plan"), QStringLiteral("Region of Figma")};
        for (const QString& text : texts)
            recording.hud.model().add(FeedItem::Kind::heard, text);
        const auto fullHeight = [&](const QString& text) {
            for (const QLabel* label : panel.findChildren<QLabel*>())
                if (label->text() == text)
                    return label->isVisible() && label->height() >= label->heightForWidth(label->width());
            return false;
        };
        for (const QString& text : texts)
            QTRY_VERIFY2_WITH_TIMEOUT(fullHeight(text), qPrintable(text), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(cornerOf(panel), defaultCorner(), 5000);
        QVERIFY(nudgeClear());
        QCOMPARE(activeWindow(), users);
    }

    void aDragIsRememberedForTheNextRecording() {
        QPoint corner;
        {
            Recording recording(*m_settings);
            HUDPanel& panel = recording.show();
            QVERIFY(QTest::qWaitForWindowExposed(&panel, 5000));
            QTRY_COMPARE_WITH_TIMEOUT(cornerOf(panel), defaultCorner(), 5000);
            QVERIFY(drag(panel, QPoint(-200, 150)));
            corner = cornerOf(panel);
            QCOMPARE(corner, defaultCorner() + QPoint(-200, 150));
            QCOMPARE(HUDCorner::parse(m_settings->value("hud.topRight").toString()), corner);

            // The dot keeps to the screen's edge: dragging it stores nothing.
            recording.hud.model().set(HUDModel::Mode::dot);
            QTRY_VERIFY_WITH_TIMEOUT(panel.width() < 100 && cornerOf(panel).y() == corner.y(), 5000);
            QVERIFY(drag(panel, QPoint(-300, 200)));
            QCOMPARE(HUDCorner::parse(m_settings->value("hud.topRight").toString()), corner);
            recording.hud.hide();
        }
        m_settings->setValue("hud.mode", QStringLiteral("pill"));
        Recording next(*m_settings);
        HUDPanel& panel = next.show();
        QVERIFY(QTest::qWaitForWindowExposed(&panel, 5000));
        QTRY_COMPARE_WITH_TIMEOUT(cornerOf(panel), corner, 5000);
    }

    void aCornerOnNoScreenGivesTheDefault_data() {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<bool>("kept");
        row("a corner on the screen is kept", QStringLiteral("{900, 400}"), true);
        row("a corner where an unplugged screen was gives the default", QStringLiteral("{5000, 400}"), false);
        row("an unreadable corner gives the default", QStringLiteral("top right"), false);
    }
    void aCornerOnNoScreenGivesTheDefault() {
        QFETCH(QString, stored);
        QFETCH(bool, kept);
        m_settings->setValue("hud.topRight", stored);
        m_settings->setValue("hud.mode", QStringLiteral("card"));
        Recording recording(*m_settings);
        HUDPanel& panel = recording.show();
        QVERIFY(QTest::qWaitForWindowExposed(&panel, 5000));
        QTRY_COMPARE_WITH_TIMEOUT(cornerOf(panel), kept ? *HUDCorner::parse(stored) : defaultCorner(), 5000);
        // Placing it is not the user's move: the stored corner stays as it was.
        QCOMPARE(m_settings->value("hud.topRight").toString(), stored);
    }

    void noBlackCorners_data() {
        QTest::addColumn<bool>("compositing");
        row("on a plain X server the panel is cut to its shape", false);
        row("under a compositing manager the panel is translucent", true);
    }
    void noBlackCorners() {
        QFETCH(bool, compositing);
        const QRgb ground = qRgb(255, 0, 255);
        ForeignWindow desktop({}, ground);
        desktop.stack(XCB_STACK_MODE_BELOW);
        QProcess manager;
        if (compositing) {
            manager.start(QStringLiteral("xcompmgr"), {});
            QVERIFY(manager.waitForStarted());
            QVERIFY(QTest::qWaitFor(&os::x11CompositingManagerRuns, 5000));
        }
        QCOMPARE(os::x11CompositingManagerRuns(), compositing);

        m_settings->setValue("hud.mode", QStringLiteral("card"));
        m_settings->setValue("hud.topRight", QStringLiteral("{1200, 200}")); // the shadow all on screen
        Recording recording(*m_settings);
        HUDPanel& panel = recording.show();
        QCOMPARE(panel.composited(), compositing);
        QVERIFY(QTest::qWaitForWindowExposed(&panel, 5000));
        const QRect card = *recording.hud.frame();
        // Drawn when the card's middle shows on screen, not the ground.
        QVERIFY(QTest::qWaitFor([&] { return pixelOnScreen(card.center()) != ground; }, 5000));
        const int m = OVCard::shadowMargin;
        const QRect window = card.adjusted(-m, -m, m, m);
        // Each corner of the window, and each corner of the card outside its rounding.
        const QList<QPoint> outside{window.topLeft(),
                                    window.topRight(),
                                    window.bottomLeft(),
                                    window.bottomRight(),
                                    card.topLeft() + QPoint(1, 1),
                                    card.topRight() + QPoint(-1, 1),
                                    card.bottomLeft() + QPoint(1, -1),
                                    card.bottomRight() + QPoint(-1, -1)};
        for (const QPoint& at : outside) {
            const QRgb seen = pixelOnScreen(at);
            // The ground shows, at most darkened by the shadow.
            QVERIFY2(qRed(seen) > 120 && qBlue(seen) > 120 && qGreen(seen) < 60,
                     qPrintable(QStringLiteral("%1,%2 is #%3").arg(at.x()).arg(at.y()).arg(seen, 6, 16)));
        }
        recording.hud.hide();
        if (compositing) {
            manager.terminate();
            manager.waitForFinished();
            QVERIFY(QTest::qWaitFor([] { return !os::x11CompositingManagerRuns(); }, 5000));
        }
    }
};

int main(int argc, char** argv) {
    // Without an X server the test still starts, and says what it misses.
    if (qEnvironmentVariableIsEmpty("DISPLAY")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    TestHUDPanel test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_hud_panel.moc"
