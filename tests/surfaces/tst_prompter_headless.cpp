#include "core/Log.h"
#include "core/Paths.h"
#include "surfaces/DialogPrompter.h"

#include <QApplication>
#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

// Orvane started outside a desktop session: Qt runs on its offscreen platform and nothing can be shown.
class TestPrompterHeadless : public QObject {
    Q_OBJECT

private slots:
    void anAlertWithoutADisplayIsLoggedAndAnswersNothingLater() {
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("offscreen"));
        DialogPrompter prompter;
        int answers = 0;
        std::optional<QString> answer = QStringLiteral("unanswered");
        prompter.ask({QStringLiteral("Orvane has no screen to record"),
                      QStringLiteral("No display."),
                      {QStringLiteral("OK")}},
                     [&](std::optional<QString> button) {
                         ++answers;
                         answer = std::move(button);
                     });
        QCOMPARE(answers, 0);
        QTRY_COMPARE_WITH_TIMEOUT(answers, 1, 5000);
        QCOMPARE(answer, std::nullopt);
        QVERIFY(QApplication::topLevelWidgets().isEmpty());

        slogFlush();
        QFile log(Paths::logFile());
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().contains("alert: Orvane has no screen to record (no display) -> Cancel\n"));
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    TestPrompterHeadless test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_prompter_headless.moc"
