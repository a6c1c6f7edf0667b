#include "RequiredServices.h"
#include "surfaces/Nudges.h"
#include "surfaces/ScreenNudgeDisplay.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVCard.h"

#include <QApplication>
#include <QLineEdit>
#include <QProcess>
#include <QScreen>
#include <QTest>
#include <QWindow>

using namespace std::chrono_literals;

namespace {

QString run(const QString& program, const QStringList& args) {
    QProcess p;
    p.start(program, args);
    p.waitForFinished(5000);
    return p.exitCode() == 0 ? QString::fromUtf8(p.readAllStandardOutput()).trimmed() : QString();
}

// The window manager has taken the window in hand (it gave it its frame extents): whatever focus it meant to
// give on the window's arrival, it has given.
bool managed(const QWidget& window) {
    return QTest::qWaitFor(
        [&] {
            return run(QStringLiteral("xprop"), {QStringLiteral("-id"), QString::number(window.winId()),
                                                 QStringLiteral("_NET_FRAME_EXTENTS")})
                .contains(QLatin1Char('='));
        },
        5000);
}

// The window that has the focus, as the X server says now.
WId activeWindow() {
    return WId(run(QStringLiteral("xdotool"), {QStringLiteral("getactivewindow")}).toULongLong());
}

} // namespace

// A nudge on a real X server with a window manager, while the user types in another window.
class TestNudgePanel : public QObject {
    Q_OBJECT

private slots:
    void appearsTopRightWithoutTakingFocus_data() {
        QTest::addColumn<bool>("reducedMotion");
        QTest::newRow("fading in") << false;
        QTest::newRow("reduced motion") << true;
    }
    void appearsTopRightWithoutTakingFocus() {
        QFETCH(bool, reducedMotion);
        REQUIRE_SERVICE(QGuiApplication::platformName() == QLatin1String("xcb"), "An X server");

        QLineEdit typing;
        typing.setWindowTitle(QStringLiteral("the user's window"));
        typing.resize(400, 80);
        typing.move(200, 300);
        typing.show();
        typing.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&typing, 5000));
        QVERIFY(typing.hasFocus());

        auto display = std::make_unique<ScreenNudgeDisplay>([=] { return Motion(reducedMotion); });
        ScreenNudgeDisplay* screenDisplay = display.get();
        Nudges nudges(std::move(display));
        const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
        const QRect avoid(available.right() - 300, available.top(), 300, 140); // where a recording panel sits
        nudges.setAvoid([=]() -> std::optional<QRect> { return avoid; });

        bool tunedIn = false;
        Nudge call;
        call.kind = QStringLiteral("call");
        call.priority = 3;
        call.icon = QStringLiteral("\u260F");
        call.title = QStringLiteral("Call in Zoom — tune in?");
        call.message = QStringLiteral("Records screen & audio.");
        call.buttons = {{QStringLiteral("Not now"), false, {}},
                        {QStringLiteral("Tune in"), true, [&] { tunedIn = true; }}};
        call.timeout = 60s;
        nudges.show(std::move(call));

        QPointer<QWidget> panel = screenDisplay->panel();
        QVERIFY(panel);
        QVERIFY(QTest::qWaitForWindowExposed(panel, 5000));
        const QPoint expected = nudgeOrigin(available, panel->size(), avoid);
        QVERIFY2(QTest::qWaitFor([&] { return panel->windowHandle()->position() == expected; }, 5000),
                 qPrintable(QStringLiteral("at %1,%2").arg(panel->x()).arg(panel->y())));
        const int m = OVCard::shadowMargin;
        const QRect card = panel->geometry().adjusted(m, m, -m, -m);
        QVERIFY(!card.intersects(avoid));
        QVERIFY(available.contains(card));
        QVERIFY(card.right() > available.right() - 40); // at the right edge, not merely on screen

        // Once the window manager has the panel, it has decided on the focus: the user's window keeps it.
        QVERIFY(managed(*panel));
        QCOMPARE(activeWindow(), typing.winId());
        QVERIFY(typing.isActiveWindow());
        QVERIFY(!panel->isActiveWindow());

        OVButton* tuneIn = nullptr;
        for (OVButton* b : panel->findChildren<OVButton*>())
            if (b->text() == QStringLiteral("Tune in")) tuneIn = b;
        QVERIFY(tuneIn);
        // A real click through the X server: the first click acts, and it does not move the focus either.
        const QPoint at = tuneIn->mapToGlobal(tuneIn->rect().center());
        QCOMPARE(QProcess::execute(QStringLiteral("xdotool"),
                                   {QStringLiteral("mousemove"), QString::number(at.x()),
                                    QString::number(at.y()), QStringLiteral("click"), QStringLiteral("1")}),
                 0);
        QVERIFY(QTest::qWaitFor([&] { return tunedIn; }, 5000));
        QVERIFY(!nudges.showing());
        QVERIFY(QTest::qWaitFor([&] { return panel.isNull(); }, 5000)); // each nudge has a panel of its own
        QCOMPARE(activeWindow(), typing.winId());
    }
};

int main(int argc, char** argv) {
    // Without an X server the test still starts, and says what it misses.
    if (qEnvironmentVariableIsEmpty("DISPLAY")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    TestNudgePanel test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_nudge_panel.moc"
