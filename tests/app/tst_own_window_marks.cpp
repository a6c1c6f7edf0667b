#include "app/OwnWindowMarker.h"
#include "os/linux/OwnWindowMarks.h"

#include <QApplication>
#include <QLabel>
#include <QPainter>
#include <QTest>

namespace {

// A screen of grey noise-free content with rows drawn at `at`, for windows of `sizes`.
QImage screenWith(const QList<QPoint>& at, const QList<QSize>& sizes, QSize screen = {400, 300}) {
    QImage image(screen, QImage::Format_RGB32);
    image.fill(QColor(0x33, 0x33, 0x33));
    for (qsizetype i = 0; i < at.size(); ++i) {
        const auto row = os::ownmarks::row(sizes[i]);
        for (int x = 0; x < os::ownmarks::length && at[i].x() + x < image.width(); ++x)
            image.setPixel(at[i].x() + x, at[i].y(), row[x]);
    }
    return image;
}

} // namespace

class TestOwnWindowMarks : public QObject {
    Q_OBJECT
private slots:
    void windowsAreFoundByTheirRows_data() {
        QTest::addColumn<QImage>("screen");
        QTest::addColumn<QList<QRect>>("found");
        QTest::newRow("one") << screenWith({{10, 20}}, {{100, 50}}) << QList<QRect>{{10, 20, 100, 50}};
        QTest::newRow("two on a line") << screenWith({{0, 5}, {200, 5}}, {{150, 40}, {60, 60}})
                                       << QList<QRect>{{0, 5, 150, 40}, {200, 5, 60, 60}};
        QTest::newRow("clipped by the screen")
            << screenWith({{300, 280}}, {{300, 300}}) << QList<QRect>{{300, 280, 100, 20}};
        QTest::newRow("row cut by the edge") << screenWith({{395, 10}}, {{50, 50}}) << QList<QRect>{};
        QTest::newRow("size wider than a byte")
            << screenWith({{1, 1}}, {{1000, 700}}, {2000, 900}) << QList<QRect>{{1, 1, 1000, 700}};
        QImage nearMiss = screenWith({{10, 10}}, {{80, 80}});
        nearMiss.setPixel(13, 10, nearMiss.pixel(13, 10) + 1); // a step off, as a scaled share would be
        QTest::newRow("one pixel a step off") << nearMiss << QList<QRect>{};
    }

    void windowsAreFoundByTheirRows() {
        QFETCH(QImage, screen);
        QFETCH(QList<QRect>, found);
        const std::vector<QRect> windows = os::ownmarks::find(screen);
        QCOMPARE(QList<QRect>(windows.begin(), windows.end()), found);
    }

    // What lay under a window comes from the frame before it; without one, black.
    void windowsArePaintedOutFromTheFrameBefore() {
        QImage before(200, 100, QImage::Format_RGB32);
        before.fill(Qt::darkGreen);
        QImage frame = screenWith({{20, 10}}, {{50, 30}}, before.size());
        QImage fresh = frame;
        os::ownmarks::paintOut(frame, os::ownmarks::find(frame), before);
        QCOMPARE(frame.pixel(20, 10), QColor(Qt::darkGreen).rgb());
        QCOMPARE(frame.pixel(69, 39), QColor(Qt::darkGreen).rgb());
        QCOMPARE(frame.pixel(70, 40), QColor(0x33, 0x33, 0x33).rgb());
        os::ownmarks::paintOut(fresh, os::ownmarks::find(fresh), QImage());
        QCOMPARE(fresh.pixel(30, 20), QColor(Qt::black).rgb());
    }

    // A real window of ours carries its row once shown, and is counted while it is.
    void aShownWindowCarriesItsRow() {
        auto& app = *qobject_cast<QApplication*>(QCoreApplication::instance());
        new OwnWindowMarker(app);
        QLabel window(QStringLiteral("Recording"));
        window.setStyleSheet(QStringLiteral("background: white"));
        window.resize(240, 90);
        window.show();
        QTRY_COMPARE(os::ownmarks::shown(), 1);
        const QImage picture = window.grab().toImage().convertToFormat(QImage::Format_RGB32);
        const std::vector<QRect> found = os::ownmarks::find(picture);
        QCOMPARE(found.size(), size_t(1));
        QCOMPARE(found.front(), QRect(QPoint(0, 0), window.size() * window.devicePixelRatioF()));
        window.hide();
        QTRY_COMPARE(os::ownmarks::shown(), 0);
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    TestOwnWindowMarks test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_own_window_marks.moc"
