#include "core/Fmt.h"
#include "os/linux/TesseractRecognizer.h"
#include "recording/Frames.h"
#include "recording/OCR.h"
#include "voice/NoteCard.h"
#include "voice/PinQueue.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {
const QByteArray picture("\xFF\xD8\xFF picture bytes");
const QDateTime nine = QDateTime(QDate(2026, 3, 2), QTime(9, 0, 0), Qt::UTC);

QStringList filesIn(const QString& dir) { return QDir(dir).entryList(QDir::Files | QDir::NoDotAndDotDot); }
} // namespace

class TestPinQueue : public QObject {
    Q_OBJECT
    std::unique_ptr<QTemporaryDir> home;
    QString pins, recordings;

private slots:
    void init() {
        home = std::make_unique<QTemporaryDir>();
        pins = home->filePath(QStringLiteral("pins"));
        recordings = home->filePath(QStringLiteral("recordings"));
    }

    void addKeepsTheImageBesideTheQueue() {
        PinQueue queue(pins);
        QCOMPARE(queue.count(), 0);
        queue.add(picture, QStringLiteral("their pricing page"), false, nine);
        QCOMPARE(queue.count(), 1);
        queue.add(picture, QStringLiteral("second"), false, nine.addSecs(5));
        QCOMPARE(queue.count(), 2);

        const QueuedPin first = queue.all().first();
        QCOMPARE(first.note, QStringLiteral("their pricing page"));
        QCOMPARE(first.at, nine);
        QCOMPARE(first.textOnly, std::nullopt);
        QVERIFY(QRegularExpression(QStringLiteral("^pin-%1-[0-9A-F-]{36}\\.jpg$").arg(QRegularExpression::escape(Fmt::stamp(nine))))
                    .match(first.file)
                    .hasMatch());
        QFile image(pins + QLatin1Char('/') + first.file);
        QVERIFY(image.open(QIODevice::ReadOnly));
        QCOMPARE(image.readAll(), picture);
        QVERIFY(queue.all()[1].file != first.file);
    }

    void twoPinsBecomeOneSession() {
        PinQueue queue(pins);
        queue.add(picture, QStringLiteral("first"), false, nine);
        queue.add(picture + "2", QStringLiteral("a note alone"), true, nine.addSecs(3)); // dates keep whole seconds
        const QUuid workspace = QUuid::createUuid();

        const std::shared_ptr<Session> session = queue.toSession(workspace, recordings);
        QVERIFY(session);
        QCOMPARE(session->meta.title, QStringLiteral("Pins · ") + Fmt::human(nine));
        QCOMPARE(session->meta.app, QStringLiteral("Screen"));
        QCOMPARE(session->meta.workspaceID, workspace);
        QCOMPARE(session->meta.started, nine);
        QCOMPARE(session->meta.ended, nine.addSecs(4));
        QCOMPARE(session->meta.pins.size(), 2);
        QCOMPARE(session->meta.pins[0].t, 0.0);
        QCOMPARE(session->meta.pins[1].t, 3.0);
        QCOMPARE(session->meta.pins[1].note, QStringLiteral("a note alone"));
        QCOMPARE(session->meta.pins[0].textOnly, std::nullopt);
        QCOMPARE(session->meta.pins[1].textOnly, true);
        QFile copy(session->url(session->meta.pins[1].file));
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QCOMPARE(copy.readAll(), picture + "2");

        // Saved as it stands, and the queue with its images is gone.
        QCOMPARE(Session::load(session->dir)->meta, session->meta);
        QCOMPARE(queue.count(), 0);
        QCOMPARE(filesIn(pins), QStringList());
    }

    void anEmptyQueueMakesNoSession() {
        PinQueue queue(pins);
        QVERIFY(!queue.toSession(std::nullopt, recordings));
        QVERIFY(!QDir(recordings).exists() || QDir(recordings).isEmpty());
    }

    void aPinWhoseImageIsGoneIsSkipped() {
        PinQueue queue(pins);
        queue.add(picture, QStringLiteral("deleted by hand"), false, nine);
        queue.add(picture, QStringLiteral("kept"), false, nine.addSecs(4));
        QVERIFY(QFile::remove(pins + QLatin1Char('/') + queue.all().first().file));
        const std::shared_ptr<Session> session = queue.toSession(std::nullopt, recordings);
        QCOMPARE(session->meta.pins.size(), 1);
        QCOMPARE(session->meta.pins[0].note, QStringLiteral("kept"));
        QCOMPARE(session->meta.pins[0].t, 4.0);
        QCOMPARE(session->meta.ended, nine.addSecs(5));
    }

    void aQueueThatIsNotJsonCountsAsEmptyAndIsReplaced() {
        QDir().mkpath(pins);
        QFile broken(pins + QStringLiteral("/queue.json"));
        QVERIFY(broken.open(QIODevice::WriteOnly));
        broken.write("[{\"at\": nonsense");
        broken.close();
        PinQueue queue(pins);
        QCOMPARE(queue.count(), 0);
        queue.add(picture, QStringLiteral("fresh"), false, nine);
        QCOMPARE(queue.count(), 1);
        QCOMPARE(queue.all().first().note, QStringLiteral("fresh"));
    }

    void aFailedImageWriteLeavesTheQueueAsItWas() {
        PinQueue queue(pins);
        queue.add(picture, QStringLiteral("kept"), false, nine);
        const QString path = pins + QLatin1Char('/') + queue.all().first().file;
        QFile::setPermissions(pins, QFile::ReadOwner | QFile::ExeOwner);
        if (QFile probe(pins + QStringLiteral("/probe")); probe.open(QIODevice::WriteOnly)) {
            QFile::setPermissions(pins, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            QSKIP("this user may write into a read-only folder");
        }
        queue.add(picture, QStringLiteral("lost"), false, nine.addSecs(1));
        QFile::setPermissions(pins, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QCOMPARE(queue.count(), 1);
        QVERIFY(QFile::exists(path));
    }

    void aNoteCardReadsBackToItsWords() {
        const QString note = QStringLiteral("Their pricing page leads with the annual plan");
        const QImage card = NoteCard::image(note);
        QCOMPARE(card.size(), QSize(1200, 630));
        const std::optional<QByteArray> jpeg = NoteCard::jpeg(note);
        QVERIFY(jpeg && jpeg->startsWith("\xFF\xD8\xFF"));
        OCR ocr([] { return std::make_unique<os::TesseractRecognizer>(); });
        const Reading reading = ocr.read(*Frames::load(writeTemp(*jpeg)));
        QSet<QString> read = OCR::words(reading.text);
        read.remove(QStringLiteral("note")); // the card's own label
        QCOMPARE(read, OCR::words(note));
    }

private:
    QString writeTemp(const QByteArray& bytes) {
        const QString path = home->filePath(QStringLiteral("card.jpg"));
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(bytes);
        return path;
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen"); // note cards are drawn into images, never on a screen
    QApplication app(argc, argv);
    TestPinQueue test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_pin_queue.moc"
