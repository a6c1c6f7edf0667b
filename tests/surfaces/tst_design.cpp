#include "support/Rows.h"
#include "surfaces/StatusIcon.h"
#include "surfaces/design/Appearance.h"
#include "surfaces/design/LiveMeter.h"

#include <QApplication>
#include <QPainter>
#include <QTest>
#include <cmath>

using testsupport::row;

namespace {
// WCAG's relative luminance and contrast ratio.
double luminance(QColor c) {
    const auto linear = [](double v) {
        return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(c.redF()) + 0.7152 * linear(c.greenF()) + 0.0722 * linear(c.blueF());
}
double contrast(QColor a, QColor b) {
    const double la = luminance(a), lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}
} // namespace

// The palette's choice, the tray mark's contrast and the live meter's level.
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

    // No tray tells its colour, and a dark desktop may have a light panel: the mark has to stand out either
    // way.
    void markReadsOnAnyPanel_data() {
        QTest::addColumn<QColor>("panel");
        QTest::addColumn<bool>("darkDesktop");
        QTest::addColumn<bool>("recording");
        const QColor light(0xF2, 0xF2, 0xF2), dark(0x1E, 0x1E, 0x1E);
        row("a light desktop's mark on a light panel", light, false, false);
        row("a light desktop's mark on a dark panel", dark, false, false);
        row("a dark desktop's mark on a light panel", light, true, false);
        row("a dark desktop's mark on a dark panel", dark, true, false);
        row("the recording mark on a light panel", light, false, true);
        row("the recording mark on a dark panel", dark, true, true);
    }
    void markReadsOnAnyPanel() {
        QFETCH(QColor, panel);
        QFETCH(bool, darkDesktop);
        QFETCH(bool, recording);
        const int size = 22;
        QImage shown(size, size, QImage::Format_RGB32);
        shown.fill(panel);
        QPainter(&shown).drawImage(0, 0, StatusIcon::slash(size, recording, false, darkDesktop));
        // Readable: the pixels that stand out by WCAG's 3:1 for graphics draw at least two lines the length
        // of the stroke, its two edges.
        int standOut = 0;
        for (int y = 0; y < size; ++y)
            for (int x = 0; x < size; ++x)
                standOut += contrast(shown.pixelColor(x, y), panel) >= 3.0;
        const double strokeLength = std::hypot(0.32, 0.68) * size;
        QVERIFY2(standOut >= 2 * strokeLength, qPrintable(QString::number(standOut)));
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
