#include "os/linux/TesseractRecognizer.h"
#include "recording/Frames.h"
#include "recording/OCR.h"
#include "support/Files.h"
#include "support/Slides.h"

#include <QDir>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>
#include <thread>

using Slides::Line;

namespace {
std::unique_ptr<os::TextRecognizer> makeTesseract() {
    return std::make_unique<os::TesseractRecognizer>();
}

const std::vector<Line> planSlide = {{QStringLiteral("Quarterly plan"), 64},
                                     {QStringLiteral("Ship the new onboarding before March"), 32},
                                     {QStringLiteral("Hire two engineers for the data team"), 32},
                                     {QStringLiteral("Move the billing service to the new region"), 32}};
const std::vector<Line> hiringSlide = {{QStringLiteral("Hiring update"), 64},
                                       {QStringLiteral("Two offers accepted for the platform group"), 32},
                                       {QStringLiteral("Interviews for design continue next week"), 32},
                                       {QStringLiteral("Budget for contractors approved by finance"), 32}};
} // namespace

class TestOCR : public QObject {
    Q_OBJECT
    OCR ocr{&makeTesseract};

private slots:
    void theHeadingIsTheTitleNotTheMenuBar() {
        const Reading reading =
            ocr.read(Slides::draw({{QStringLiteral("File Edit View Window Help"), 14},
                                   {QStringLiteral("Revenue review"), 72},
                                   {QStringLiteral("Numbers for the last quarter"), 28}}));
        QCOMPARE(reading.title, QStringLiteral("Revenue review"));
        QVERIFY(reading.text.startsWith(QStringLiteral("File Edit View Window Help\nRevenue review")));
    }

    // Fast mode tells two slides apart, reads the same slide alike, and a one-word edit in a longer text is
    // no text change.
    void fastModeTellsTextChangesApart() {
        const QString plan = ocr.text(Slides::draw(planSlide), true);
        std::vector<Line> edited = planSlide;
        edited[2].text = QStringLiteral("Hire three engineers for the data team");
        QVERIFY2(OCR::similarity(plan, ocr.text(Slides::draw(planSlide), true)) >= OCR::nearDuplicate,
                 qPrintable(plan));
        QVERIFY(OCR::similarity(plan, ocr.text(Slides::draw(hiringSlide), true)) <
                Frames::textKeepSimilarity);
        QVERIFY(OCR::similarity(plan, ocr.text(Slides::draw(edited), true)) >= Frames::textKeepSimilarity);
        // A document's 20-pixel type is read too.
        const auto page = [this](const QString& text) {
            return ocr.text(Slides::draw(std::vector<Line>(12, {text, 20})), true);
        };
        QVERIFY(
            OCR::similarity(page(QStringLiteral("Support volume fell after the help pages went live")),
                            page(QStringLiteral("Hiring for the data team is on track with two offers"))) <
            Frames::textKeepSimilarity);
    }

    // Threads read at once, each with a recognizer of its own, and on that thread alone: OpenMP keeps the
    // workers of a thread until that thread ends, so a read that used them leaves more threads behind.
    void eachThreadReadsAloneWithItsOwnRecognizer() {
        QString first, second;
        std::thread a([&] { first = ocr.text(Slides::draw({{QStringLiteral("Alpha team status"), 48}})); });
        std::thread b([&] { second = ocr.text(Slides::draw({{QStringLiteral("Bravo team status"), 48}})); });
        a.join();
        b.join();
        QCOMPARE(first, QStringLiteral("Alpha team status"));
        QCOMPARE(second, QStringLiteral("Bravo team status"));

        const auto threads = [] { return QDir(QStringLiteral("/proc/self/task")).count(); };
        qsizetype before = 0, after = 0;
        std::thread([&] {
            before = threads();
            ocr.read(Slides::draw(planSlide));
            after = threads();
        }).join();
        // Other threads of the process may end meanwhile; none may be added.
        QVERIFY2(after <= before,
                 qPrintable(QStringLiteral("%1 threads before, %2 after").arg(before).arg(after)));
    }

    void oddImagesGiveLittleOrNothing_data() {
        QTest::addColumn<QImage>("image");
        QImage pixel(1, 1, QImage::Format_RGB32);
        pixel.fill(Qt::white);
        QImage blank5K(5120, 2880, QImage::Format_RGB32);
        blank5K.fill(Qt::white);
        QTest::newRow("no image") << QImage();
        QTest::newRow("one pixel") << pixel;
        QTest::newRow("a blank 5K screen") << blank5K;
        QTest::newRow("a script the model does not know")
            << Slides::draw({{QStringLiteral("Ξ Ψ Ω ж щ ю ф ב ש ע"), 48}});
    }

    void oddImagesGiveLittleOrNothing() {
        QFETCH(QImage, image);
        const Reading reading = ocr.read(image, QTest::currentDataTag() == QByteArray("a blank 5K screen"));
        QVERIFY(reading.text.size() <= OCR::maxChars);
        if (image.width() < 2) QCOMPARE(reading, Reading{});
    }

    void aMissingModelIsLoggedOnceAndReadsNothing() {
        QTemporaryDir empty;
        const testsupport::LogWatch log;
        const QByteArray saved = qgetenv("TESSDATA_PREFIX");
        qputenv("TESSDATA_PREFIX", empty.path().toUtf8());
        OCR without(&makeTesseract);
        const QImage slide = Slides::draw(planSlide);
        const Reading first = without.read(slide);
        const Reading second = without.read(slide);
        saved.isNull() ? qunsetenv("TESSDATA_PREFIX") : qputenv("TESSDATA_PREFIX", saved);
        QCOMPARE(first, Reading{});
        QCOMPARE(second, Reading{});
        QCOMPARE(log.text().count(QStringLiteral("ocr: cannot load the English model")), 1);
    }

    // Cut in characters: a character outside the basic plane is never split.
    void longTextsAreCut() {
        std::vector<os::TextLine> page;
        for (int i = 0; i < 30; ++i)
            page.push_back(
                {QRectF(0, 1 - (i + 1) / 31.0, 0.9, 0.02), QString(130, QLatin1Char('w')) + " words"});
        const Reading reading = OCR::arrange(page);
        QCOMPARE(reading.text.size(), OCR::maxChars);
        QCOMPARE(reading.title->size(), OCR::titleLimit);
        QCOMPARE(OCR::clip(QString::fromUcs4(U"😀").repeated(2100), 2000),
                 QString::fromUcs4(U"😀").repeated(2000));
    }

    void similarity_data() {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<double>("similarity");
        QTest::newRow("two empty texts") << QString() << QString() << 1.0;
        QTest::newRow("one empty") << QStringLiteral("alpha") << QString() << 0.0;
        QTest::newRow("half the words shared")
            << QStringLiteral("alpha beta gamma") << QStringLiteral("beta gamma delta") << 0.5;
        QTest::newRow("words split at every non-alphanumeric character, case does not count")
            << QStringLiteral("It's 12:01 — Q3 plan, a PLAN") << QStringLiteral("it 12 01 q3 plan") << 1.0;
    }
    void similarity() {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(double, similarity);
        QCOMPARE(OCR::similarity(a, b), similarity);
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen"); // text is drawn into images, never on a screen
    QGuiApplication app(argc, argv);
    TestOCR test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_ocr.moc"
