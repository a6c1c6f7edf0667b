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

using testsupport::row;

namespace {

QByteArray xdotool(const QStringList& args) {
    QProcess process;
    process.start(QStringLiteral("xdotool"), args);
    process.waitForFinished(30000);
    return process.exitCode() == 0 ? process.readAllStandardOutput().trimmed() : QByteArray("failed");
}

WId activeWindow() {
    return xdotool({QStringLiteral("getactivewindow")}).toULongLong();
}

QDialog* shownAlert(const QString& title) {
    for (QWidget* window : QApplication::topLevelWidgets())
        if (auto* dialog = qobject_cast<QDialog*>(window); dialog && dialog->windowTitle() == title)
            return dialog;
    return nullptr;
}

} // namespace

Q_DECLARE_METATYPE(std::optional<QString>)

// On Xvfb with openbox, while the user works in a window of another program (a Python Tk window): as when a
// call nudge or a hot key asks and Orvane has no window in front.
class TestDialogPrompter : public QObject {
    Q_OBJECT

    QProcess m_other;
    QString m_otherWindow;

    bool workInTheOtherWindow() {
        xdotool({"windowactivate", "--sync", m_otherWindow});
        xdotool({"mousemove", "--window", m_otherWindow, "40", "40", "click", "1"});
        return QTest::qWaitFor([&] { return activeWindow() == m_otherWindow.toULongLong(); }, 10000);
    }

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(QGuiApplication::platformName() == QLatin1String("xcb"), "an X server");
        m_other.start(QStringLiteral("python3"), {QStringLiteral(ORVANE_TK_WINDOW), "Notes", "notes.txt"});
        m_otherWindow = QString::fromLatin1(
            xdotool({"search", "--sync", "--onlyvisible", "--name", "^notes\\.txt$"}).split('\n').first());
        QVERIFY(m_otherWindow.toULongLong() != 0);
    }
    void cleanupTestCase() {
        m_other.closeWriteChannel();
        if (!m_other.waitForFinished(5000)) m_other.kill();
    }

    // openbox focuses every new window by itself, so the alert's coming forward does not show that the
    // activation works: a window already open behind the user's does.
    void aWindowBehindTheUsersComesToTheFront() {
        QWidget behind;
        behind.show();
        QVERIFY(QTest::qWaitForWindowExposed(&behind));
        QVERIFY(workInTheOtherWindow());
        QVERIFY(os::activateX11Window(quint32(behind.winId())));
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), behind.winId(), 10000);
    }

    void theAlertComesToTheFrontAndAnswersWhatWasChosen_data() {
        QTest::addColumn<QString>("button"); // clicked, else `keys` are pressed
        QTest::addColumn<QString>("keys");
        QTest::addColumn<std::optional<QString>>("expected");
        const QString first = QStringLiteral("Tune in without mic");
        row("a click on the first button answers its text", first, QString(), std::optional(first));
        row("a click on the last button answers its text", QStringLiteral("Cancel"), QString(),
            std::optional(QStringLiteral("Cancel")));
        row("Return presses the first button", QString(), QStringLiteral("Return"), std::optional(first));
        row("Escape answers nothing", QString(), QStringLiteral("Escape"), std::optional<QString>());
        row("closing the window answers nothing", QString(), QStringLiteral("alt+F4"),
            std::optional<QString>());
    }
    void theAlertComesToTheFrontAndAnswersWhatWasChosen() {
        QFETCH(QString, button);
        QFETCH(QString, keys);
        QFETCH(std::optional<QString>, expected);
        QVERIFY(workInTheOtherWindow());
        DialogPrompter prompter([](WId window) { os::activateX11Window(quint32(window)); });
        const Alert alert{QStringLiteral("No microphone found"),
                          QStringLiteral("Connect one."),
                          {QStringLiteral("Tune in without mic"), QStringLiteral("Open Sound Settings"),
                           QStringLiteral("Cancel")}};
        int answers = 0;
        std::optional<QString> answer;
        prompter.ask(alert, [&](std::optional<QString> chosen) {
            ++answers;
            answer = std::move(chosen);
        });
        QCOMPARE(answers, 0);

        QPointer<QDialog> dialog;
        QTRY_VERIFY_WITH_TIMEOUT((dialog = shownAlert(alert.title)), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), dialog->winId(), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(dialog->isActiveWindow(), 10000);
        if (button.isEmpty()) {
            xdotool({"key", keys});
        } else {
            const auto buttons = dialog->findChildren<QAbstractButton*>();
            const auto found = std::find_if(buttons.cbegin(), buttons.cend(),
                                            [&](const QAbstractButton* b) { return b->text() == button; });
            QVERIFY(found != buttons.cend());
            const QPoint at = (*found)->mapToGlobal((*found)->rect().center());
            xdotool({"mousemove", "--sync", QString::number(at.x()), QString::number(at.y()), "click", "1"});
        }
        QTRY_COMPARE_WITH_TIMEOUT(answers, 1, 10000);
        QCOMPARE(answer, expected);
        QTRY_VERIFY_WITH_TIMEOUT(dialog.isNull(), 10000);
    }
};

QTEST_MAIN(TestDialogPrompter)
#include "tst_dialog_prompter.moc"
