#include "core/Fmt.h"
#include "os/linux/TesseractRecognizer.h"
#include "recording/Frames.h"
#include "recording/OCR.h"
#include "support/Files.h"
#include "support/Rows.h"
#include "voice/NoteCard.h"
#include "voice/PinQueue.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <sys/resource.h>

using namespace Qt::Literals::StringLiterals;
using testsupport::row;

namespace {
const QByteArray picture("\xFF\xD8\xFF picture bytes");
const QDateTime nine = QDateTime(QDate(2026, 3, 2), QTime(9, 0, 0), Qt::UTC);

QStringList filesIn(const QString& dir) {
    return QDir(dir).entryList(QDir::Files | QDir::NoDotAndDotDot);
}

// While it lives, no file of this process grows past `fileLimit` bytes: a longer write fails as on a full
// disk.
constexpr int fileLimit = 4096;
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_old);
        const rlimit limit{bytes, m_old.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_old); }

private:
    rlimit m_old{};
};
} // namespace

class TestPinQueue : public QObject {
    Q_OBJECT
    std::unique_ptr<QTemporaryDir> home;
    QString pins, recordings;

private slots:
    void init() {
        home = std::make_unique<QTemporaryDir>();
        pins = home->filePath(u"pins"_s);
        recordings = home->filePath(u"recordings"_s);
    }

    void twoPinsBecomeOneSession() {
        PinQueue queue(pins);
        queue.add(picture, u"first"_s, false, nine);
        queue.add(picture + "2", u"a note alone"_s, true, nine.addSecs(3)); // dates keep whole seconds
        const QUuid workspace = QUuid::createUuid();

        const std::shared_ptr<Session> session = queue.toSession(workspace, recordings);
        QVERIFY(session);
        QCOMPARE(session->meta.title, u"Pins · "_s + Fmt::human(nine));
        QCOMPARE(session->meta.workspaceID, workspace);
        QCOMPARE(session->meta.ended, nine.addSecs(4));
        QCOMPARE(session->meta.pins.size(), 2);
        QCOMPARE(session->meta.pins[1].t, 3.0);
        QCOMPARE(session->meta.pins[1].textOnly, true);
        QFile copy(session->url(session->meta.pins[1].file));
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QCOMPARE(copy.readAll(), picture + "2");
        // Saved as it stands, and the queue with its images is gone.
        QCOMPARE(Session::load(session->dir)->meta, session->meta);
        QCOMPARE(filesIn(pins), QStringList());
    }

    void anEmptyQueueMakesNoSession() {
        PinQueue queue(pins);
        QVERIFY(!queue.toSession(std::nullopt, recordings));
        QVERIFY(!QDir(recordings).exists() || QDir(recordings).isEmpty());
    }

    void aPinThatCannotBeCopiedIsNeverLost_data() {
        QTest::addColumn<QList<int>>("sizes"); // of each pin's image; 0: deleted by hand
        QTest::addColumn<QStringList>("sent"); // the notes of the session's pins; empty: no session
        QTest::addColumn<QStringList>("left"); // the notes still queued
        row("a pin whose image is gone is skipped and dropped", QList<int>{0, 100}, QStringList{"p1"},
            QStringList{});
        row("a pin whose copy fails stays queued with its image", QList<int>{100, 2 * fileLimit},
            QStringList{"p0"}, QStringList{"p1"});
        row("no session when no pin could be copied", QList<int>{2 * fileLimit}, QStringList{},
            QStringList{"p0"});
    }
    void aPinThatCannotBeCopiedIsNeverLost() {
        QFETCH(QList<int>, sizes);
        QFETCH(QStringList, sent);
        QFETCH(QStringList, left);
        PinQueue queue(pins);
        for (int i = 0; i < sizes.size(); ++i)
            queue.add(QByteArray(qMax(sizes[i], 1), 'j'), u"p%1"_s.arg(i), false, nine.addSecs(4 * i));
        for (int i = 0; i < sizes.size(); ++i) {
            if (sizes[i] == 0) QVERIFY(QFile::remove(pins + QLatin1Char('/') + queue.all()[i].file));
        }
        std::shared_ptr<Session> session;
        {
            const FileSizeLimit full(fileLimit);
            session = queue.toSession(std::nullopt, recordings);
        }
        QStringList notes;
        for (const PinMeta& pin : session ? session->meta.pins : QList<PinMeta>())
            notes << pin.note;
        QCOMPARE(notes, sent);
        QCOMPARE(QDir(recordings).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size(),
                 sent.isEmpty() ? 0 : 1);
        QStringList queued;
        for (const QueuedPin& pin : queue.all()) {
            queued << pin.note;
            QVERIFY(QFile::exists(pins + QLatin1Char('/') + pin.file));
        }
        QCOMPARE(queued, left);
        QCOMPARE(filesIn(pins).size(), left.isEmpty() ? 0 : left.size() + 1); // the images and queue.json
    }

    void aQueueThatIsNotJsonCountsAsEmptyAndIsReplaced() {
        QDir().mkpath(pins);
        testsupport::writeFile(pins + u"/queue.json"_s, "[{\"at\": nonsense");
        PinQueue queue(pins);
        QCOMPARE(queue.count(), 0);
        queue.add(picture, u"fresh"_s, false, nine);
        QCOMPARE(queue.count(), 1);
        QCOMPARE(queue.all().first().note, u"fresh"_s);
    }

    void aFailedImageWriteLeavesTheQueueAsItWas() {
        PinQueue queue(pins);
        queue.add(picture, u"kept"_s, false, nine);
        {
            const FileSizeLimit full(fileLimit);
            queue.add(QByteArray(2 * fileLimit, 'j'), u"lost"_s, false, nine.addSecs(1));
        }
        QCOMPARE(queue.count(), 1);
        QCOMPARE(filesIn(pins).size(), 2);
    }

    void aNoteCardReadsBackToItsWords() {
        const QString note = u"Their pricing page leads with the annual plan"_s;
        const QImage card = NoteCard::image(note);
        QCOMPARE(card.size(), QSize(1200, 630));
        const std::optional<QByteArray> jpeg = NoteCard::jpeg(note);
        QVERIFY(jpeg && jpeg->startsWith("\xFF\xD8\xFF"));
        OCR ocr([] { return std::make_unique<os::TesseractRecognizer>(); });
        const QString file = home->filePath(u"card.jpg"_s);
        testsupport::writeFile(file, *jpeg);
        const Reading reading = ocr.read(*Frames::load(file));
        QSet<QString> read = OCR::words(reading.text);
        read.remove(u"note"_s); // the card's own label
        QCOMPARE(read, OCR::words(note));
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen"); // note cards are drawn into images, never on a screen
    QApplication app(argc, argv);
    TestPinQueue test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_pin_queue.moc"
