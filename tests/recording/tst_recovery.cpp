#include "Tone.h"
#include "recording/Frames.h"
#include "recording/MonoWriter.h"
#include "recording/Recovery.h"
#include "recording/Session.h"
#include "support/Files.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using testsupport::writeFile;

namespace {
// An hour ago, in whole seconds as meta.json keeps it.
const QDateTime started = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch() - 3600, Qt::UTC);

// A real track of two seconds of tone, as the recorder writes it.
void writeTrack(const QString& path) {
    MonoWriter writer(path);
    Tone::write(writer, 0, 2, 0.3);
}

void touch(const QString& path, const QDateTime& when) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(when, QFileDevice::FileModificationTime));
}
} // namespace

// What a killed recording leaves, brought back at the next start with real tracks on disk.
class TestRecovery : public QObject {
    Q_OBJECT
    std::unique_ptr<QTemporaryDir> m_tmp;

    std::shared_ptr<Session> interrupted() {
        return Session::create(QStringLiteral("Killed"), QStringLiteral("Screen"), std::nullopt, started,
                               m_tmp->path());
    }
    // Every file of the folder dated at `when`.
    static void dateAll(const QString& dir, const QDateTime& when) {
        for (QDirIterator it(dir, QDir::Files, QDirIterator::Subdirectories); it.hasNext();)
            touch(it.next(), when);
    }

private slots:
    void init() { m_tmp = std::make_unique<QTemporaryDir>(); }

    // The recording ends where its newest file was last written; files older than its start (a clock set
    // back) still give it a second.
    void endsAtTheNewestFile_data() {
        QTest::addColumn<bool>("withTrack");
        QTest::addColumn<int>("newest"); // seconds after the start
        QTest::addColumn<int>("ended");
        QTest::newRow("a microphone track written until 95 s") << true << 95 << 95;
        QTest::newRow("every file older than the start") << false << -600 << 1;
    }
    void endsAtTheNewestFile() {
        QFETCH(bool, withTrack);
        QFETCH(int, newest);
        QFETCH(int, ended);
        auto s = interrupted();
        s->addShot(1, "jpeg");
        s->save();
        const QString mic = s->url(QStringLiteral("mic.m4a"));
        if (withTrack) writeTrack(mic);
        dateAll(s->dir, started.addSecs(std::min(10, newest)));
        if (withTrack) touch(mic, started.addSecs(newest));

        QCOMPARE(Recovery::recoverInterrupted(m_tmp->path()), QStringList{QFileInfo(s->dir).fileName()});
        const auto back = Session::load(s->dir);
        QVERIFY(back);
        QCOMPARE(back->meta.ended, started.addSecs(ended));
        QCOMPARE(back->meta.audioFile, withTrack ? std::optional(QStringLiteral("mic.m4a")) : std::nullopt);
        QCOMPARE(back->meta.lastError, QStringLiteral("the session was interrupted"));
        QCOMPARE(Session::pending(m_tmp->path()).size(), 1);
    }

    // meta.json names a shot only when it is next saved: those kept after that are found on disk, timed by
    // their files; one whose write was cut short stays out.
    void shotsAfterTheLastSaveAreListed() {
        QImage image(64, 36, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        const std::optional<QByteArray> jpeg = Frames::jpeg(image);
        QVERIFY(jpeg);
        auto s = interrupted();
        s->addShot(4, *jpeg);
        s->save();
        s->addShot(30, *jpeg);
        s->addShot(32, jpeg->left(8));
        dateAll(s->dir, started.addSecs(10));
        touch(s->url(QStringLiteral("shots/001.jpg")), started.addSecs(31));

        Recovery::recoverInterrupted(m_tmp->path());
        const QList<ShotMeta> expected{{4, QStringLiteral("shots/000.jpg")},
                                       {31, QStringLiteral("shots/001.jpg")}};
        QCOMPARE(Session::load(s->dir)->meta.shots, expected);
    }

    void anUnreadableMixIsPassedOver() {
        auto s = interrupted();
        writeFile(s->url(QStringLiteral("mixed.m4a")), QByteArray(4096, '\x17'));
        writeTrack(s->url(QStringLiteral("system.m4a")));
        writeTrack(s->url(QStringLiteral("mic.m4a")));
        Recovery::recoverInterrupted(m_tmp->path());
        QCOMPARE(Session::load(s->dir)->meta.audioFile, QStringLiteral("system.m4a"));
    }

    void finishedAndUnreadableSessionsAreLeftAlone() {
        auto finished = Session::create(QStringLiteral("Done"), QStringLiteral("Screen"), std::nullopt,
                                        started, m_tmp->path());
        finished->meta.ended = started.addSecs(60);
        finished->save();
        QVERIFY(QDir().mkpath(m_tmp->filePath(QStringLiteral("corrupt"))));
        writeFile(m_tmp->filePath(QStringLiteral("corrupt/meta.json")), "{\"title\":");
        QVERIFY(QDir().mkpath(m_tmp->filePath(QStringLiteral("empty"))));

        QVERIFY(Recovery::recoverInterrupted(m_tmp->path()).isEmpty());
        const auto back = Session::load(finished->dir);
        QCOMPARE(back->meta.ended, started.addSecs(60));
        QVERIFY(!back->meta.lastError);
        QVERIFY(Recovery::recoverInterrupted(m_tmp->filePath(QStringLiteral("missing"))).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestRecovery)
#include "tst_recovery.moc"
