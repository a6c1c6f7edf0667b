#include "app/AppDelegate.h"
#include "app/Services.h"

#include <QApplication>
#include <QKeyEvent>
#include <QTest>
#include <QTimer>
#include <QWidget>

// The one answer to every way of quitting, on the controller the program runs.
class TestTermination : public QObject {
    Q_OBJECT
    std::unique_ptr<Services> m_services = Services::build(Config::fromEnvironment());

    // Runs the event loop until the application quits; false when it is still running after the deadline.
    static bool quitsWithin(int ms) {
        bool timedOut = false;
        QTimer::singleShot(ms, qApp, [&] {
            timedOut = true;
            QCoreApplication::exit(1);
        });
        return QCoreApplication::exec() == 0 && !timedOut;
    }

private slots:
    void idleQuitsAtOnce() {
        AppDelegate delegate(*m_services, Arguments(QStringList{}));
        QCOMPARE(delegate.applicationShouldTerminate(), AppDelegate::TerminateReply::Now);
        QTimer::singleShot(0, &delegate, &AppDelegate::requestQuit);
        QVERIFY(quitsWithin(5000));
    }

    void savingQuitsWhenTheSaveEnds() {
        AppDelegate delegate(*m_services, Arguments(QStringList{}));
        delegate.beginSave();
        bool stillRunningAfterRequest = false;
        QTimer::singleShot(0, &delegate, &AppDelegate::requestQuit);
        QTimer::singleShot(0, &delegate, [&] {
            stillRunningAfterRequest = delegate.quitAfterSave();
            delegate.endSave();
        });
        QVERIFY(quitsWithin(5000));
        QVERIFY(stillRunningAfterRequest);
        QVERIFY(!delegate.quitAfterSave());
    }

    void aSaveWithoutQuitRequestDoesNotQuit() {
        AppDelegate delegate(*m_services, Arguments(QStringList{}));
        QTimer::singleShot(0, &delegate, [&] {
            delegate.beginSave();
            delegate.endSave();
        });
        // A quit brought by the save would end the loop in the save's own turn; the next turn tells it
        // didn't.
        QTimer::singleShot(0, qApp, [] { QCoreApplication::exit(1); });
        QCOMPARE(QCoreApplication::exec(), 1);
    }

    void ctrlQInAnyWindowTakesTheSameRoad() {
        AppDelegate delegate(*m_services, Arguments(QStringList{}));
        delegate.applicationDidFinishLaunching();
        QWidget window;
        window.show();
        delegate.beginSave();
        QTimer::singleShot(0, &window, [&] { QTest::keyClick(&window, Qt::Key_Q, Qt::ControlModifier); });
        QTimer::singleShot(0, &delegate, [&] {
            QVERIFY(delegate.quitAfterSave());
            delegate.endSave();
        });
        QVERIFY(quitsWithin(5000));
    }
};

int main(int argc, char** argv) {
    // Off screen: the answer to a quit has nothing to do with what is drawn.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    TestTermination test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_termination.moc"
