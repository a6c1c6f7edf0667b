#include "RequiredServices.h"
#include "os/linux/X11Panels.h"
#include "support/PrivateXServer.h"
#include "surfaces/StatusItem.h"

#include <QApplication>
#include <QSignalSpy>
#include <QTest>

namespace {
bool trayStarted = false;

QString xdotool(const QStringList& arguments) {
    QProcess p;
    p.start(QStringLiteral("xdotool"), arguments);
    p.waitForFinished();
    return QString::fromLatin1(p.readAllStandardOutput());
}

// Where the tray put our icon, as the X server says: the visible window of this program's class that is more
// than Qt's 1x1 helper windows.
QRect iconWindow() {
    const QStringList windows = xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                         QStringLiteral("--classname"), QCoreApplication::applicationName()})
                                    .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString& window : windows) {
        QMap<QString, int> g;
        for (const QString& line :
             xdotool({QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), window}).split('\n')) {
            const QStringList pair = line.split(QLatin1Char('='));
            if (pair.size() == 2) g.insert(pair[0], pair[1].toInt());
        }
        const QRect rect(g.value(QStringLiteral("X")), g.value(QStringLiteral("Y")),
                         g.value(QStringLiteral("WIDTH")), g.value(QStringLiteral("HEIGHT")));
        if (rect.width() > 1) return rect;
    }
    return {};
}
} // namespace

// The tray icon in an XEmbed tray (trayer, at the top right of a display of the test's own, with openbox):
// the tray gives the icon's place, and a real click reports it.
class TestTrayXEmbed : public QObject {
    Q_OBJECT
private slots:
    void aClickOnTheIconReportsWhereItIs() {
        REQUIRE_SERVICE(trayStarted, "An X server with trayer");
        QVERIFY(QTest::qWaitFor(&os::x11SystemTrayRuns, 30000));
        StatusItem item({&os::x11SystemTrayRuns});
        QVERIFY(item.hostAvailable());
        // Embedded: the tray has taken the icon's window into its panel at the top right.
        // Read once per try: the tray may still move the icon, and a second read could see another place.
        QRect icon;
        const bool placed = QTest::qWaitFor(
            [&] {
                icon = iconWindow();
                return icon.right() >= 700 && icon.top() < 30;
            },
            30000);
        QVERIFY2(placed, qPrintable(QStringLiteral("the icon is at %1,%2 %3x%4")
                                        .arg(icon.x())
                                        .arg(icon.y())
                                        .arg(icon.width())
                                        .arg(icon.height())));

        QSignalSpy activated(&item, &StatusItem::activated);
        const QPoint centre = icon.center();
        // The window is in place a moment before the tray has handed it over and it takes clicks: a click
        // that came too early is repeated.
        const auto click = [&] {
            xdotool({QStringLiteral("mousemove"), QString::number(centre.x()), QString::number(centre.y()),
                     QStringLiteral("click"), QStringLiteral("1")});
            return activated.wait(1000);
        };
        QTRY_VERIFY_WITH_TIMEOUT(!activated.isEmpty() || click(), 10000);
        const auto anchor = activated.first().at(0).value<TrayAnchor>();
        QCOMPARE(anchor.icon, std::optional<QRect>(icon));
        QCOMPARE(anchor.pointer, centre);
    }
};

int main(int argc, char** argv) {
    // The tray and the pointer are the display's own: the other tests' windows stay out of the way.
    PrivateXServer x;
    QProcess openbox, trayer;
    if (xvfbInstalled() && x.start(QStringLiteral("800x600x24"))) {
        qputenv("DISPLAY", x.display().toLatin1());
        openbox.start(QStringLiteral("openbox"), {});
        // The tray comes once the window manager runs: a dock mapped before it would be placed by it afresh.
        const bool managed = QTest::qWaitFor(
            [] {
                QProcess xprop;
                xprop.start(QStringLiteral("xprop"),
                            {QStringLiteral("-root"), QStringLiteral("_NET_SUPPORTING_WM_CHECK")});
                xprop.waitForFinished();
                return xprop.readAllStandardOutput().contains("window id");
            },
            10000);
        if (!managed) qWarning("openbox does not manage the display yet; the tray may be placed afresh");
        // Now and then trayer never maps its panel beside a window manager that is starting too, and a
        // request to dock into a panel that is not there is lost: such a trayer is started again.
        for (int attempt = 0; attempt < 3 && !trayStarted; ++attempt) {
            trayer.start(QStringLiteral("trayer"),
                         {QStringLiteral("--edge"), QStringLiteral("top"), QStringLiteral("--align"),
                          QStringLiteral("right"), QStringLiteral("--widthtype"), QStringLiteral("request"),
                          QStringLiteral("--height"), QStringLiteral("24"), QStringLiteral("--SetDockType"),
                          QStringLiteral("true")});
            trayStarted = openbox.waitForStarted() && trayer.waitForStarted() &&
                          QTest::qWaitFor(
                              [] {
                                  return !xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                                   QStringLiteral("--class"), QStringLiteral("trayer")})
                                              .isEmpty();
                              },
                              5000);
            if (!trayStarted) {
                trayer.kill();
                trayer.waitForFinished();
            }
        }
    } else {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    int status = 0;
    {
        QApplication app(argc, argv);
        TestTrayXEmbed test;
        status = QTest::qExec(&test, argc, argv);
    }
    for (QProcess* p : {&trayer, &openbox}) {
        p->kill();
        p->waitForFinished();
    }
    return status;
}
#include "tst_tray_xembed.moc"
