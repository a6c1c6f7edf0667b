#include "Controller.h"
#include "RequiredServices.h"
#include "surfaces/WindowBox.h"
#include "surfaces/design/OVToggle.h"

#include <QApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

namespace {

QByteArray xdotool(const QStringList& args) {
    QProcess process;
    process.start(QStringLiteral("xdotool"), args);
    process.waitForFinished(30000);
    return process.readAllStandardOutput().trimmed();
}

WId activeWindow() {
    return xdotool({QStringLiteral("getactivewindow")}).toULongLong();
}

void clickAt(const QWidget& widget) {
    const QPoint at = widget.mapToGlobal(widget.rect().center());
    xdotool({"mousemove", "--sync", QString::number(at.x()), QString::number(at.y()), "click", "1"});
}

} // namespace

// The settings window on Xvfb with openbox, driven as a user drives it: pointer and keys from xdotool, and
// the window manager's idea of which window is active and on which desktop.
class TestSettingsWindow : public QObject {
    Q_OBJECT
    std::unique_ptr<Controller> m_c;

    QWidget* openedWindow() {
        m_c->app().openSettings();
        QWidget* window = m_c->app().windows().window(QStringLiteral("settings"));
        if (!window || !QTest::qWaitForWindowExposed(window)) return nullptr;
        return QTest::qWaitFor([&] { return activeWindow() == window->winId(); }, 10000) ? window : nullptr;
    }
    OVToggle* toggle(QWidget* window, const QString& text) {
        for (OVToggle* t : window->findChildren<OVToggle*>())
            if (t->text() == text) return t;
        return nullptr;
    }

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(QGuiApplication::platformName() == QLatin1String("xcb"), "an X server");
        QApplication::setQuitOnLastWindowClosed(false); // as the program runs
    }
    void init() { m_c = std::make_unique<Controller>(QStringLiteral("http://127.0.0.1:9")); }
    void cleanup() {
        m_c.reset();
        xdotool({QStringLiteral("set_desktop"), QStringLiteral("0")});
    }

    void togglesAnswerTheClickTabAndSpace() {
        QWidget* window = openedWindow();
        QVERIFY(window);
        OVToggle* offers = toggle(window, QStringLiteral("Offer to tune in when a call starts"));
        clickAt(*offers);
        QTRY_VERIFY_WITH_TIMEOUT(!m_c->settings().offerCalls(), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(offers->hasFocus(), 10000);
        // Tab passes over automatic tuning in, which does nothing while offers are off.
        xdotool({QStringLiteral("key"), QStringLiteral("Tab")});
        OVToggle* tips = toggle(
            window,
            QStringLiteral("Live tips while Orvane is active (from the project, about what is on screen)"));
        QTRY_VERIFY_WITH_TIMEOUT(tips->hasFocus(), 10000);
        xdotool({QStringLiteral("key"), QStringLiteral("space")});
        QTRY_VERIFY_WITH_TIMEOUT(!m_c->settings().liveTips(), 10000);
        QVERIFY(m_c->settings().autoRecordCalls() == false);
    }

    // Asked again, from wherever the user is, the one window comes to the current desktop as the active one.
    void askedAgainTheSameWindowComesToTheUser() {
        QWidget* window = openedWindow();
        QVERIFY(window);
        const WId id = window->winId();
        xdotool({QStringLiteral("set_desktop"), QStringLiteral("1")});
        QTRY_COMPARE_WITH_TIMEOUT(xdotool({QStringLiteral("get_desktop")}), QByteArray("1"), 10000);
        QWidget* again = openedWindow();
        QCOMPARE(again, window);
        QCOMPARE(again->winId(), id);
        QTRY_COMPARE_WITH_TIMEOUT(xdotool({QStringLiteral("get_desktop_for_window"), QString::number(id)}),
                                  QByteArray("1"), 10000);
    }

    // The window manager's close and Done end the window, not the program; the next open makes it anew.
    void closingTheWindowLeavesOrvaneRunning() {
        QSignalSpy quitting(qApp, &QCoreApplication::aboutToQuit);
        QWidget* window = openedWindow();
        QVERIFY(window);
        QSignalSpy closed(&m_c->app().windows(), &WindowBox::closed);
        xdotool({QStringLiteral("key"), QStringLiteral("alt+F4")});
        QVERIFY(closed.wait(10000));
        QVERIFY(!m_c->app().windows().window(QStringLiteral("settings")));

        window = openedWindow();
        QVERIFY(window);
        for (QAbstractButton* b : window->findChildren<QAbstractButton*>())
            if (b->text() == QStringLiteral("Done")) clickAt(*b);
        QVERIFY(closed.wait(10000));
        QVERIFY(quitting.isEmpty());
    }
};

QTEST_MAIN(TestSettingsWindow)
#include "tst_settings_window.moc"
