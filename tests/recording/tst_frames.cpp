#include "recording/Frames.h"
#include "support/Files.h"
#include "support/Slides.h"

#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>

using Slides::Line;

namespace {
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
    // What the coarse and the fine prints make of a change: a visual change is kept, a candidate's text is
    // read, and what a pointer or a clock does is neither.
    void changes_data() {
        QTest::addColumn<QImage>("before");
        QTest::addColumn<QImage>("after");
        QTest::addColumn<bool>("visual");
        QTest::addColumn<bool>("candidate");
        const QImage slide = Slides::draw(slideLines);
        QTest::newRow("the same frame") << slide << slide << false << false;
        QTest::newRow("another slide")
            << slide
            << Slides::draw({{QStringLiteral("Questions?"), 120}}, {1440, 900}, QColor(20, 30, 60), Qt::white)
            << true << true;
        QTest::newRow("the pointer moves across the slide")
            << withPointerAt(slide, {200, 300}) << withPointerAt(slide, {900, 600}) << false << false;
        std::vector<Line> at1201 = slideLines, at1202 = slideLines;
        at1201.push_back({QStringLiteral("12:01"), 16});
        at1202.push_back({QStringLiteral("12:02"), 16});
        QTest::newRow("a clock ticks") << Slides::draw(at1201) << Slides::draw(at1202) << false << false;
        QTest::newRow("the text replaced on the same background")
            << slide
            << Slides::draw({{QStringLiteral("Hiring update"), 64},
                             {QStringLiteral("Two offers accepted for the platform group"), 32},
                             {QStringLiteral("Interviews for design continue next week"), 32},
                             {QStringLiteral("Budget for contractors approved by finance"), 32}})
            << false << true;
    }
    void changes() {
        QFETCH(QImage, before);
        QFETCH(QImage, after);
        QFETCH(bool, visual);
        QFETCH(bool, candidate);
        QCOMPARE(Frames::diff(Frames::signature(before), Frames::signature(after)) >= Frames::changeThreshold,
                 visual);
        QCOMPARE(Frames::changedRatio(Frames::fine(before), Frames::fine(after)) >= Frames::fineCandidate,
                 candidate);
    }

    void unusableArraysCountAsChanged() {
        QCOMPARE(Frames::diff({}, {}), 1.0f);
        QCOMPARE(Frames::diff(std::vector<float>(576, 0.5f), std::vector<float>(575, 0.5f)), 1.0f);
        QCOMPARE(Frames::changedRatio(QByteArray(), QByteArray()), 1.0f);
        QCOMPARE(Frames::changedRatio(QByteArray(576, 'a'), QByteArray(575, 'a')), 1.0f);
    }

    // A shot is stored as a JPEG no wider than asked for, and loads back; a file that only begins like one
    // does not.
    void shotsAreStoredAsJpeg_data() {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QSize>("stored");
        QTest::newRow("wider: scaled, height truncated") << QSize(3000, 1001) << QSize(1800, 600);
        QTest::newRow("narrower: kept") << QSize(1000, 700) << QSize(1000, 700);
    }
    void shotsAreStoredAsJpeg() {
        QFETCH(QSize, size);
        QFETCH(QSize, stored);
        QImage image(size, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        const std::optional<QByteArray> jpeg = Frames::jpeg(image, 0.7, 1800);
        QVERIFY(jpeg && jpeg->startsWith("\xFF\xD8\xFF"));
        QTemporaryDir dir;
        const QString good = dir.filePath(QStringLiteral("good.jpg")),
                      bad = dir.filePath(QStringLiteral("bad.jpg"));
        testsupport::writeFile(good, *jpeg);
        testsupport::writeFile(bad, "\xFF\xD8\xFF this is not a picture");
        QCOMPARE(Frames::load(good)->size(), stored);
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
