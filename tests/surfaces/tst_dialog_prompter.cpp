#include "RequiredServices.h"
#include "os/linux/X11WindowActivation.h"
#include "support/Rows.h"
#include "surfaces/DialogPrompter.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QPointer>
#include <QProcess>
#include <QTest>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <xcb/xcb.h>

using testsupport::row;

namespace {

// What the user does to the alert.
enum class Act { click, key, close };

std::optional<QByteArray> run(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    if (!process.waitForFinished(30000) || process.exitCode() != 0) return std::nullopt;
    return process.readAllStandardOutput().trimmed();
}

// The display as the window manager sees it, over a connection of the test's own.
class Desktop {
public:
    Desktop() : m_c(xcb_connect(nullptr, nullptr)) {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_c)).data->root;
        m_active = atom("_NET_ACTIVE_WINDOW");
    }
    ~Desktop() { xcb_disconnect(m_c); }
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

    xcb_window_t activeWindow() {
        std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> reply(
            xcb_get_property_reply(m_c, xcb_get_property(m_c, 0, m_root, m_active, XCB_ATOM_WINDOW, 0, 1),
                                   nullptr),
            &std::free);
        if (!reply || xcb_get_property_value_length(reply.get()) < 4) return XCB_NONE;
        return *static_cast<xcb_window_t*>(xcb_get_property_value(reply.get()));
    }

    // What a task bar's close button does: the window manager asks the window to close.
    void close(xcb_window_t window) {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = atom("_NET_CLOSE_WINDOW");
        message.data.data32[1] = 2;
        xcb_send_event(m_c, 0, m_root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char*>(&message));
        xcb_flush(m_c);
    }

private:
    xcb_atom_t atom(const char* name) {
        std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
            xcb_intern_atom_reply(m_c, xcb_intern_atom(m_c, 0, uint16_t(std::strlen(name)), name), nullptr),
            &std::free);
        return reply ? reply->atom : xcb_atom_t(XCB_NONE);
    }

    xcb_connection_t* m_c;
    xcb_window_t m_root = XCB_NONE;
    xcb_atom_t m_active = XCB_NONE;
};

QDialog* shownAlert(const QString& title) {
    for (QWidget* window : QApplication::topLevelWidgets())
        if (auto* dialog = qobject_cast<QDialog*>(window);
            dialog && dialog->isVisible() && dialog->windowTitle() == title)
            return dialog;
    return nullptr;
}

} // namespace

Q_DECLARE_METATYPE(Act)
Q_DECLARE_METATYPE(std::optional<QString>)

// The alert on Xvfb with openbox, while a window of another program, a Python Tk window, has the focus: as
// when a call nudge or a hot key asks and Orvane has no window in front.
class TestDialogPrompter : public QObject {
    Q_OBJECT

    QProcess m_other;
    xcb_window_t m_otherWindow = XCB_NONE;
    Desktop m_desktop;

    // The user works in the other program: it is active, and a click there is the last input the window
    // manager saw.
    bool workInTheOtherWindow() {
        return run(QStringLiteral("xdotool"), {"windowactivate", "--sync", QString::number(m_otherWindow)}) &&
               run(QStringLiteral("xdotool"),
                   {"mousemove", "--window", QString::number(m_otherWindow), "40", "40", "click", "1"}) &&
               QTest::qWaitFor([&] { return m_desktop.activeWindow() == m_otherWindow; }, 10000);
    }

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(QGuiApplication::platformName() == QLatin1String("xcb"), "an X server");
        m_other.start(QStringLiteral("python3"), {QStringLiteral(ORVANE_TK_WINDOW), QStringLiteral("Notes"),
                                                  QStringLiteral("notes.txt")});
        QVERIFY(QTest::qWaitFor(
            [&] {
                return m_other.canReadLine() ||
                       (!m_other.waitForReadyRead(100) && m_other.state() == QProcess::NotRunning);
            },
            30000));
        QCOMPARE(m_other.readLine().trimmed(), QByteArray("window"));
        const std::optional<QByteArray> found =
            run(QStringLiteral("xdotool"), {"search", "--sync", "--onlyvisible", "--name", "^notes\\.txt$"});
        QVERIFY(found);
        m_otherWindow = found->split('\n').first().toUInt();
    }
    void cleanupTestCase() {
        m_other.closeWriteChannel();
        if (!m_other.waitForFinished(5000)) m_other.kill();
    }

    // openbox focuses a new window by itself, so the alert's coming forward does not show that activation
    // works: a window already open behind the user's shows it.
    void aWindowBehindTheUsersComesToTheFront() {
        QWidget behind;
        behind.resize(200, 100);
        behind.show();
        QVERIFY(QTest::qWaitForWindowExposed(&behind));
        QVERIFY(workInTheOtherWindow());
        QVERIFY(os::activateX11Window(quint32(behind.winId())));
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop.activeWindow(), xcb_window_t(behind.winId()), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(behind.isActiveWindow(), 10000);
    }

    void theAlertComesToTheFrontAndAnswersWhatWasChosen_data() {
        QTest::addColumn<Act>("act");
        QTest::addColumn<QString>("input");
        QTest::addColumn<std::optional<QString>>("expected");
        using Answer = std::optional<QString>;
        row("a click on the first button answers its text", Act::click, QStringLiteral("Tune in without mic"),
            Answer(QStringLiteral("Tune in without mic")));
        row("a click on the last button answers its text", Act::click, QStringLiteral("Cancel"),
            Answer(QStringLiteral("Cancel")));
        row("Return presses the first button", Act::key, QStringLiteral("Return"),
            Answer(QStringLiteral("Tune in without mic")));
        row("Escape answers nothing", Act::key, QStringLiteral("Escape"), Answer());
        row("closing it from the window manager answers nothing", Act::close, QString(), Answer());
    }
    void theAlertComesToTheFrontAndAnswersWhatWasChosen() {
        QFETCH(Act, act);
        QFETCH(QString, input);
        QFETCH(std::optional<QString>, expected);
        QVERIFY(workInTheOtherWindow());

        DialogPrompter prompter([](WId window) { os::activateX11Window(quint32(window)); });
        const Alert alert{QStringLiteral("No microphone found"),
                          QStringLiteral("Connect one."),
                          {QStringLiteral("Tune in without mic"), QStringLiteral("Open Sound Settings"),
                           QStringLiteral("Cancel")}};
        int answers = 0;
        std::optional<QString> answer;
        prompter.ask(alert, [&](std::optional<QString> button) {
            ++answers;
            answer = std::move(button);
        });
        QCOMPARE(answers, 0);

        QPointer<QDialog> dialog;
        QTRY_VERIFY_WITH_TIMEOUT((dialog = shownAlert(alert.title)), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop.activeWindow(), xcb_window_t(dialog->winId()), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(dialog->isActiveWindow(), 10000);

        switch (act) {
        case Act::click: {
            QAbstractButton* button = nullptr;
            for (QAbstractButton* b : dialog->findChildren<QAbstractButton*>())
                if (b->text() == input) button = b;
            QVERIFY(button);
            const QPoint at = button->mapToGlobal(button->rect().center());
            QVERIFY(run(QStringLiteral("xdotool"), {"mousemove", "--sync", QString::number(at.x()),
                                                    QString::number(at.y()), "click", "1"}));
            break;
        }
        case Act::key:
            QVERIFY(run(QStringLiteral("xdotool"), {"key", input}));
            break;
        case Act::close:
            m_desktop.close(xcb_window_t(dialog->winId()));
            break;
        }
        QTRY_COMPARE_WITH_TIMEOUT(answers, 1, 10000);
        QCOMPARE(answer, expected);
        QTRY_VERIFY_WITH_TIMEOUT(dialog.isNull(), 10000);
    }
};

QTEST_MAIN(TestDialogPrompter)
#include "tst_dialog_prompter.moc"
