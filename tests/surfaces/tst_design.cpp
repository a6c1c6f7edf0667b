#include "support/Rows.h"
#include "surfaces/design/Appearance.h"
#include "surfaces/design/LiveMeter.h"

#include <QApplication>
#include <QTest>

using testsupport::row;

// The palette's choice and the live meter's level.
class TestDesign : public QObject {
    Q_OBJECT

private slots:
    void paletteFollowsTheDesktop_data() {
        QTest::addColumn<QColor>("window");
        QTest::addColumn<bool>("dark");
        row("a dark window colour", QColor(0x2b, 0x2b, 0x2b), true);
        row("a light window colour", QColor(0xef, 0xef, 0xef), false);
    }
    void paletteFollowsTheDesktop() {
        QFETCH(QColor, window);
        QFETCH(bool, dark);
        const QPalette before = QApplication::palette();
        QWidget widget, fixedParent;
        auto* fixedChild = new QWidget(&fixedParent);
        fixScheme(&fixedParent, ColorScheme::light);

        QApplication::setPalette(QPalette(window));
        QTRY_COMPARE(palOf(&widget).isDark, dark); // widgets take the new palette from the event loop
        QCOMPARE(Pal::system().isDark, dark);
        QCOMPARE(palOf(fixedChild).isDark, false); // a fixed scheme holds for everything inside
        QApplication::setPalette(before);
        QTRY_COMPARE(widget.palette().color(QPalette::Window), before.color(QPalette::Window));
    }

    void micLevel_data() {
        QTest::addColumn<QList<float>>("rms"); // fed in turn
        QTest::addColumn<float>("level");
        row("silence is 0", QList<float>{0}, 0.0f);
        row("-52 dB is 0", QList<float>{0.0025119f}, 0.0f);
        row("-32 dB is half", QList<float>{0.025119f}, 0.5f);
        row("beyond full scale is 1", QList<float>{4}, 1.0f);
        row("it rises at once", QList<float>{0, 0.25119f}, 1.0f);
        row("it falls smoothly", QList<float>{0.25119f, 0}, 0.86f);
    }
    void micLevel() {
        QFETCH(QList<float>, rms);
        QFETCH(float, level);
        LiveMeter meter;
        for (const float r : rms)
            meter.feedMic(r);
        QVERIFY2(std::abs(meter.mic() - level) < 1e-4f, qPrintable(QString::number(meter.mic())));
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen"); // widgets without a screen
    QApplication app(argc, argv);
    TestDesign test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_design.moc"
