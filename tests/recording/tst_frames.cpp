#include "recording/Frames.h"
#include "support/Slides.h"

#include <QGuiApplication>
#include <QBuffer>
#include <QImageReader>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>

using Slides::Line;

namespace {
QImage decoded(const QByteArray& jpeg) {
    QBuffer buffer(const_cast<QByteArray*>(&jpeg));
    return QImageReader(&buffer, "jpeg").read();
}

QImage withPointerAt(QImage image, QPoint at) {
    QPainter p(&image);
    const QPolygon arrow({at, at + QPoint(0, 20), at + QPoint(5, 15), at + QPoint(12, 14)});
    p.setBrush(Qt::black);
    p.setPen(Qt::white);
    p.drawPolygon(arrow);
    return image;
}

const std::vector<Line> slideLines = {{QStringLiteral("Quarterly plan"), 64},
                                      {QStringLiteral("Ship the new onboarding before March"), 32},
                                      {QStringLiteral("Hire two engineers for the data team"), 32},
                                      {QStringLiteral("Move the billing service to the new region"), 32}};
} // namespace

class TestFrames : public QObject {
    Q_OBJECT
private slots:
    void sizes() {
        const QImage frame = Slides::draw(slideLines);
        QCOMPARE(Frames::signature(frame).size(), std::size_t(576));
        QCOMPARE(Frames::fine(frame).size(), qsizetype(9216));
    }

    void areaAveraging() {
        // Left half black, right half white: every cell lies wholly on one side, so each is exactly 0 or 1.
        QImage frame(1440, 900, QImage::Format_RGB32);
        frame.fill(Qt::white);
        QPainter(&frame).fillRect(0, 0, 720, 900, Qt::black);
        const std::vector<float> signature = Frames::signature(frame);
        for (int x = 0; x < 32; ++x)
            QCOMPARE(signature[std::size_t(5 * 32 + x)], x < 16 ? 0.0f : 1.0f);
        // A fine pixel that straddles a thin line averages it instead of picking one side.
        QImage striped(1280, 720, QImage::Format_RGB32);
        striped.fill(Qt::white);
        QPainter(&striped).fillRect(0, 0, 5, 720, Qt::black); // half of the first 10-pixel cell
        QVERIFY(qAbs(int(quint8(Frames::fine(striped)[0])) - 128) <= 1);
    }

    void sameAndDifferent() {
        const QImage slide = Slides::draw(slideLines);
        QCOMPARE(Frames::diff(Frames::signature(slide), Frames::signature(slide)), 0.0f);
        QCOMPARE(Frames::changedRatio(Frames::fine(slide), Frames::fine(slide)), 0.0f);

        const QImage dark = Slides::draw({{QStringLiteral("Questions?"), 120}}, {1440, 900}, QColor(20, 30, 60),
                                         Qt::white);
        QVERIFY(Frames::diff(Frames::signature(slide), Frames::signature(dark)) >= Frames::changeThreshold);
        QVERIFY(Frames::changedRatio(Frames::fine(slide), Frames::fine(dark)) >= Frames::fineCandidate);
    }

    void smallChangesStayBelowAVisualChange_data() {
        QTest::addColumn<QImage>("before");
        QTest::addColumn<QImage>("after");
        const QImage slide = Slides::draw(slideLines);
        QTest::newRow("the pointer moves across the slide")
            << withPointerAt(slide, {200, 300}) << withPointerAt(slide, {900, 600});
        std::vector<Line> at1201 = slideLines, at1202 = slideLines;
        at1201.push_back({QStringLiteral("12:01"), 16});
        at1202.push_back({QStringLiteral("12:02"), 16});
        QTest::newRow("a clock ticks") << Slides::draw(at1201) << Slides::draw(at1202);
    }

    void smallChangesStayBelowAVisualChange() {
        QFETCH(QImage, before);
        QFETCH(QImage, after);
        QVERIFY(Frames::diff(Frames::signature(before), Frames::signature(after)) < Frames::changeThreshold);
        QVERIFY(Frames::changedRatio(Frames::fine(before), Frames::fine(after)) < Frames::fineCandidate);
    }

    void replacedTextIsAFineChangeOnly() {
        // Same background and layout, other words: too little for the coarse grid, enough for the fine one.
        const QImage before = Slides::draw(slideLines);
        const QImage after = Slides::draw({{QStringLiteral("Hiring update"), 64},
                                           {QStringLiteral("Two offers accepted for the platform group"), 32},
                                           {QStringLiteral("Interviews for design continue next week"), 32},
                                           {QStringLiteral("Budget for contractors approved by finance"), 32}});
        QVERIFY(Frames::diff(Frames::signature(before), Frames::signature(after)) < Frames::changeThreshold);
        QVERIFY(Frames::changedRatio(Frames::fine(before), Frames::fine(after)) >= Frames::fineCandidate);
    }

    void unusableArraysCountAsChanged_data() {
        QTest::addColumn<int>("lengthA");
        QTest::addColumn<int>("lengthB");
        QTest::newRow("both empty") << 0 << 0;
        QTest::newRow("one empty") << 0 << 576;
        QTest::newRow("lengths differ") << 576 << 575;
    }

    void unusableArraysCountAsChanged() {
        QFETCH(int, lengthA);
        QFETCH(int, lengthB);
        QCOMPARE(Frames::diff(std::vector<float>(std::size_t(lengthA), 0.5f),
                              std::vector<float>(std::size_t(lengthB), 0.5f)),
                 1.0f);
        QCOMPARE(Frames::changedRatio(QByteArray(lengthA, 'a'), QByteArray(lengthB, 'a')), 1.0f);
    }

    void oddImages_data() {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<bool>("empty");
        QImage pixel(1, 1, QImage::Format_RGB32);
        pixel.fill(QColor(100, 100, 100));
        QImage fiveK(5120, 2880, QImage::Format_RGB32);
        fiveK.fill(QColor(100, 100, 100));
        QTest::newRow("no image") << QImage() << true;
        QTest::newRow("zero size") << QImage(0, 0, QImage::Format_RGB32) << true;
        QTest::newRow("one pixel") << pixel << false;
        QTest::newRow("a 5K screen") << fiveK << false;
        QTest::newRow("grey format") << fiveK.convertToFormat(QImage::Format_Grayscale8) << false;
    }

    void oddImages() {
        QFETCH(QImage, image);
        QFETCH(bool, empty);
        const std::vector<float> signature = Frames::signature(image);
        const QByteArray fine = Frames::fine(image);
        QCOMPARE(signature.empty(), empty);
        QCOMPARE(fine.isEmpty(), empty);
        if (empty)
            return;
        QCOMPARE(fine.size(), qsizetype(9216));
        // A uniform picture stays uniform at any size.
        QVERIFY(std::all_of(fine.begin(), fine.end(), [](char v) { return quint8(v) == 100; }));
        QCOMPARE(signature.front(), 100 / 255.0f);
    }

    void jpegBeginsWithItsMarker() {
        const std::optional<QByteArray> jpeg = Frames::jpeg(Slides::draw(slideLines));
        QVERIFY(jpeg);
        QVERIFY(jpeg->startsWith("\xFF\xD8\xFF"));
        QCOMPARE(decoded(*jpeg).size(), QSize(1440, 900));
    }

    void jpegScalesDownOnlyWhenWider_data() {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("wider: scaled, height truncated") << QSize(3000, 1001) << QSize(1800, 600);
        QTest::newRow("narrower: kept") << QSize(1000, 700) << QSize(1000, 700);
    }

    void jpegScalesDownOnlyWhenWider() {
        QFETCH(QSize, size);
        QFETCH(QSize, expected);
        QImage image(size, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        const std::optional<QByteArray> jpeg = Frames::jpeg(image, 0.7, 1800);
        QVERIFY(jpeg);
        QCOMPARE(decoded(*jpeg).size(), expected);
    }

    void nothingToEncodeOrScale() {
        QVERIFY(!Frames::jpeg(QImage()));
        QVERIFY(!Frames::scale(QImage(), 100));
        QImage image(100, 10, QImage::Format_RGB32);
        image.fill(Qt::red);
        QVERIFY(!Frames::scale(image, 0));
        QVERIFY(!Frames::scale(image, 5)); // the height would be zero
    }

    void load() {
        QTemporaryDir dir;
        const QString good = dir.filePath(QStringLiteral("good.jpg"));
        const QString bad = dir.filePath(QStringLiteral("bad.jpg"));
        QFile goodFile(good), badFile(bad);
        QVERIFY(goodFile.open(QIODevice::WriteOnly) && badFile.open(QIODevice::WriteOnly));
        goodFile.write(*Frames::jpeg(Slides::draw(slideLines)));
        badFile.write("\xFF\xD8\xFF this is not a picture");
        goodFile.close();
        badFile.close();
        QCOMPARE(Frames::load(good)->size(), QSize(1440, 900));
        QVERIFY(!Frames::load(bad));
        QVERIFY(!Frames::load(dir.filePath(QStringLiteral("missing.jpg"))));
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen"); // text is drawn into images, never on a screen
    QGuiApplication app(argc, argv);
    TestFrames test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_frames.moc"
