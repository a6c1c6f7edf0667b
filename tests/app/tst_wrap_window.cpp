#include "Controller.h"
#include "RequiredServices.h"
#include "os/linux/X11Panels.h"
#include "support/LocalPlatform.h"
#include "support/Program.h"
#include "support/Rows.h"
#include "surfaces/ScreenNudgeDisplay.h"
#include "surfaces/WindowBox.h"
#include "surfaces/WrapView.h"
#include "workday/WrapModel.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QSignalSpy>
#include <QTest>
#include <QWindow>
#include <algorithm>

using namespace Qt::StringLiterals;
using testsupport::row;

namespace {

QString xdotool(const QStringList& args) {
    return QString::fromLatin1(testsupport::run(u"xdotool"_s, args).value_or(QByteArray())).trimmed();
}

QString activeWindow() {
    return xdotool({u"getactivewindow"_s});
}

// A click through the X server on the middle of a widget, wherever its window stands by then.
void clickAt(const QWidget& widget) {
    const QPoint at = widget.mapTo(widget.window(), widget.rect().center());
    xdotool({u"mousemove"_s, u"--window"_s, QString::number(widget.window()->winId()), u"--sync"_s,
             QString::number(at.x()), QString::number(at.y()), u"click"_s, u"1"_s});
}

QAbstractButton* button(const QWidget* in, const QString& text) {
    for (QAbstractButton* b : in ? in->findChildren<QAbstractButton*>() : QList<QAbstractButton*>())
        if (b->text() == text) return b;
    return nullptr;
}

} // namespace

// The end-of-day window on Xvfb with openbox while the user works in another program's window: it comes to
// the front as the active window, from the reminder's button as from the panel, and its buttons act.
class TestWrapWindow : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;
    std::unique_ptr<Controller> m_c;
    ScreenNudgeDisplay* m_screen = nullptr;
    std::unique_ptr<testsupport::Program> m_editor;
    QString m_editorWindow;

    // The user's own window in front, as before any of Orvane's.
    bool userAtWork() {
        xdotool({u"windowactivate"_s, m_editorWindow});
        return QTest::qWaitFor([&] { return activeWindow() == m_editorWindow; }, 10000);
    }
    QWidget* wrapWindow() const { return m_c->app().windows().window(WrapView::windowKey); }
    // The window once its run has written the day and it is the active window.
    QWidget* filledWrapWindow() const {
        const bool done = QTest::qWaitFor(
            [&] {
                const std::shared_ptr<WrapModel> model = m_c->app().endOfDay().model();
                return model && !model->running() && model->summary() && wrapWindow() &&
                       activeWindow() == QString::number(wrapWindow()->winId());
            },
            30000);
        return done ? wrapWindow() : nullptr;
    }

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(QGuiApplication::platformName() == QLatin1String("xcb"), "an X server");
        QApplication::setQuitOnLastWindowClosed(false); // as the program runs
        m_editor =
            testsupport::tkWindow(QStringLiteral(ORVANE_TK_WINDOW), u"gedit"_s, u"notes.txt - gedit"_s);
        QVERIFY(m_editor->waitFor("window"));
        m_editorWindow = xdotool({u"search"_s, u"--sync"_s, u"--onlyvisible"_s, u"--name"_s, u"^notes.txt"_s})
                             .section(QLatin1Char('\n'), 0, 0);
        QVERIFY(!m_editorWindow.isEmpty());
    }
    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
        auto screen = std::make_unique<ScreenNudgeDisplay>(
            [] { return Motion(true); },
            PanelDesktop{&os::x11CompositingManagerRuns, [](QWindow& w) { os::x11OnAllDesktops(w); }});
        m_screen = screen.get();
        m_c = std::make_unique<Controller>(m_platform->base(), 120, std::move(screen));
        // The workout reminder falls due at its minute of the real day (17:30), ahead of the end of the day.
        m_c->settings().setWorkoutOn(false);
        QVERIFY(m_c->signInAndLoadProjects());
        QVERIFY(userAtWork());
    }
    void cleanup() {
        m_c.reset();
        m_platform.reset();
    }
    void cleanupTestCase() { m_editor.reset(); }

    // Nudges never take the focus, so the click leaves the user's window active: the window still comes to
    // the front. Asked for again from the panel, the same window takes the new run and comes forward again.
    void endMyDayInTheReminderBringsTheWindowToTheFront() {
        m_c->settings().setWrapOn(true);
        const QTime at = m_c->now.toLocalTime().time();
        m_c->settings().setWrapMinute(at.hour() * 60 + at.minute());
        m_c->app().activity().activityTick();
        QAbstractButton* endMyDay = button(m_screen->panel(), u"End my day"_s);
        QVERIFY(endMyDay);
        QVERIFY(QTest::qWaitForWindowExposed(endMyDay->window()));
        clickAt(*endMyDay);
        QWidget* window = filledWrapWindow();
        QVERIFY(window);
        QCOMPARE(window->windowTitle(), u"End my day"_s);
        const QString summary = *m_c->app().endOfDay().model()->summary();
        QVERIFY(std::ranges::any_of(window->findChildren<QLabel*>(),
                                    [&](const QLabel* l) { return l->text() == summary && l->isVisible(); }));
        const WId id = window->winId();

        QVERIFY(userAtWork());
        const std::weak_ptr<WrapModel> first = m_c->app().endOfDay().model();
        m_c->app().wrapUp();
        QVERIFY(m_c->app().endOfDay().model() != first.lock());
        QCOMPARE(filledWrapWindow(), window);
        QCOMPARE(window->winId(), id);
    }

    void theButtonsAct_data() {
        QTest::addColumn<QString>("click");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("opensBoard");
        QTest::addColumn<bool>("closes");
        row("a click on Open board opens the board", u"Open board"_s, QString(), true, false);
        row("Return opens the board, the default action", QString(), u"Return"_s, true, false);
        row("Close closes the window", u"Close"_s, QString(), false, true);
    }
    void theButtonsAct() {
        QFETCH(QString, click);
        QFETCH(QString, key);
        QFETCH(bool, opensBoard);
        QFETCH(bool, closes);
        m_c->app().wrapUp();
        QWidget* window = filledWrapWindow();
        QVERIFY(window);
        QSignalSpy closed(&m_c->app().windows(), &WindowBox::closed);
        if (!click.isEmpty()) clickAt(*button(window, click));
        if (!key.isEmpty()) xdotool({u"key"_s, key});
        const QList<QUrl> board{QUrl(m_c->settings().home()->base() + u"/#/board"_s)};
        if (opensBoard) QTRY_COMPARE_WITH_TIMEOUT(m_c->opened->opened, board, 10000);
        if (closes) QVERIFY(closed.wait(10000));
        QCOMPARE(!wrapWindow(), closes);
    }
};

QTEST_MAIN(TestWrapWindow)
#include "tst_wrap_window.moc"
