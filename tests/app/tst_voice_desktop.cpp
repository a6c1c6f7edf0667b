#include "RequiredServices.h"
#include "os/linux/PocketSphinxEngine.h"
#include "support/LocalPlatform.h"
#include "support/Program.h"
#include "support/ScreenReader.h"
#include "support/SignedInProgram.h"
#include "support/SupportLog.h"

#include <QDateTime>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using testsupport::activeWindow;
using testsupport::click;
using testsupport::run;
using testsupport::ScreenReader;

namespace {

// A talk of about 40 s, said three times in a recording. Its rarer words must reach neither the log nor the
// support folder.
const QString talk =
    u"So the quarterly operations review. Support volume fell by a fifth, and the billing migration finished "
    "late. Customers keep asking for single sign-on before renewal, and an audit log kept for a year. Search "
    "latency is at a median of one hundred and forty milliseconds. The hiring plan is four engineers by "
    "March "
    "and one designer for the mobile app. Hosting costs stayed flat despite the growth, travel was halved, "
    "and training doubled for new managers. Who owns the on-call rota? When does the old interface retire?"_s;
const QStringList rareWords{u"quarterly"_s, u"migration"_s,    u"renewal"_s,
                            u"latency"_s,   u"milliseconds"_s, u"engineers"_s};

} // namespace

// Voice with the built program on a real desktop, speech played into the microphone as a user says it:
// push-to-talk held on the keyboard over another program's window, the recording panel's Voice button, and a
// recording that hears its speaker without keeping a word.
class TestVoiceDesktop : public QObject {
    Q_OBJECT
    QTemporaryDir m_home;
    testsupport::SupportLog m_log{m_home.filePath(u"support/orvane.log"_s)};
    std::unique_ptr<LocalPlatform> m_platform;
    QProcess m_orvane;
    std::unique_ptr<testsupport::Program> m_front;
    QString m_frontWindow;

    // `text` said into the microphone in a voice made from recordings of a person; returns once it has been
    // played.
    bool say(const QString& text) const {
        const QString wav = m_home.filePath(u"said.wav"_s);
        if (!run(u"flite"_s, {u"-voice"_s, u"kal16"_s, u"-t"_s, text, u"-o"_s, wav})) return false;
        QProcess player;
        player.start(u"paplay"_s, {u"-d"_s, u"orvane_mic_in"_s, wav});
        return player.waitForFinished(180000) && player.exitCode() == 0;
    }
    QJsonArray queuedPins() const {
        QFile file(m_home.filePath(u"support/pins/queue.json"_s));
        if (!file.open(QIODevice::ReadOnly)) return {};
        return QJsonDocument::fromJson(file.readAll()).array();
    }

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY"), "an X server");
        REQUIRE_SERVICE(soundServerRuns(), "PulseAudio");
        REQUIRE_SERVICE(os::PocketSphinxEngine().missing().isEmpty(), "the speech model");
        REQUIRE_SERVICE(!QStandardPaths::findExecutable(u"flite"_s).isEmpty(), "flite");

        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
        const QString failed =
            testsupport::startSignedIn(m_orvane, QStringLiteral(ORVANE_BINARY), *m_platform, m_home.path());
        QVERIFY2(failed.isEmpty(), qPrintable(failed));

        // The user works in another program's window, which keeps the keyboard whatever Orvane shows.
        m_front = testsupport::tkWindow(QStringLiteral(ORVANE_TESTS_DIR "/workday/tk_window.py"), u"editor"_s,
                                        u"Release notes - Editor"_s);
        QVERIFY(m_front->waitFor("window"));
        const std::optional<QByteArray> found = run(
            u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--onlyvisible"_s, u"--name"_s, u"^Release notes"_s});
        QVERIFY(found);
        m_frontWindow = QString::fromLatin1(found->split('\n').first());
        QVERIFY(QTest::qWaitFor(
            [&] {
                return run(u"xdotool"_s, {u"windowactivate"_s, m_frontWindow}) &&
                       activeWindow() == m_frontWindow;
            },
            10000));
    }

    void cleanupTestCase() {
        if (m_orvane.state() != QProcess::Running) return;
        m_orvane.terminate();
        QVERIFY(m_orvane.waitForFinished(20000));
        QCOMPARE(m_orvane.exitCode(), 0);
    }

    // Ctrl+Alt+Space held while the user speaks: the screen is pinned to the queue, the pill says so, and the
    // user's window keeps the keyboard.
    void holdingTheKeysOverSpeechPinsTheScreen() {
        QVERIFY(run(u"xdotool"_s, {u"keydown"_s, u"ctrl+alt+space"_s}));
        QVERIFY2(m_log.waitFor(u"voice: listening"_s), qPrintable(m_log.text()));
        QVERIFY(say(u"take a screenshot of the leaderboard"_s));
        QVERIFY(run(u"xdotool"_s, {u"keyup"_s, u"ctrl+alt+space"_s}));
        const auto decided = m_log.waitFor(u"voice: \u201c([^\u201d]*)\u201d -> (\\w+)"_s);
        QVERIFY2(decided, qPrintable(m_log.text()));
        QCOMPARE(decided->captured(2), u"screenshot"_s);

        ScreenReader screen(m_orvane.processId());
        QVERIFY2(screen.waitFor(u"Pinned the screen"_s, 5000), qPrintable(screen.seen()));
        QCOMPARE(activeWindow(), m_frontWindow);
        // What follows the command's words is the pin's note, however well the synthetic voice was heard.
        QTRY_COMPARE(queuedPins().size(), 1);
        QCOMPARE(queuedPins()[0][u"note"_s].toString().isEmpty(),
                 decided->captured(1) == u"take a screenshot"_s);
    }

    // In a recording, the panel's Voice button starts and ends a round; the pin joins the recording. Then
    // two minutes of talk: the panel shows what it heard at most every 15 s, and no word of the talk is kept.
    void aRecordingHearsWithoutKeepingAWord() {
        QVERIFY(run(u"xdotool"_s, {u"key"_s, u"ctrl+alt+r"_s}));
        QVERIFY2(m_log.waitFor(u"recording started: "_s), qPrintable(m_log.text()));
        ScreenReader screen(m_orvane.processId());
        const auto pill = screen.waitFor(u"Orvane active"_s, 20000);
        QVERIFY2(pill, qPrintable(screen.seen()));
        QVERIFY(click(pill->frame.center()));
        const auto card = screen.waitFor(u"Wrap up"_s, 10000);
        QVERIFY2(card, qPrintable(screen.seen()));
        std::optional<QPoint> voice;
        for (const ScreenReader::Words& words : card->words)
            if (words.gist.endsWith(u"voice"_s)) voice = words.box.center();
        QVERIFY2(voice, qPrintable(screen.seen()));

        const qsizetype listened = m_log.text().count(u"voice: listening"_s);
        QVERIFY(click(*voice));
        QTRY_VERIFY_WITH_TIMEOUT(m_log.text().count(u"voice: listening"_s) > listened, 10000);
        const qsizetype decisions = m_log.text().count(u"voice: \u201c"_s);
        QVERIFY(say(u"take a screenshot of the pricing page"_s));
        QVERIFY(click(*voice));
        QTRY_VERIFY_WITH_TIMEOUT(m_log.text().count(u"voice: \u201c"_s) > decisions, 10000);
        const QString log = m_log.text();
        const QString decision = log.mid(log.lastIndexOf(u"voice: \u201c"_s)).section(u'\n', 0, 0);
        QVERIFY2(decision.endsWith(u" -> screenshot"_s), qPrintable(decision));
        QVERIFY2(screen.waitFor(u"Pinned"_s, 10000), qPrintable(screen.seen()));
        QCOMPARE(queuedPins().size(), 1); // in the recording, not the queue

        QVERIFY(say(talk) && say(talk) && say(talk));
        const QRegularExpression phrase(u"^(\\S+ \\S+)  hearing: a key phrase of \\d+ words$"_s,
                                        QRegularExpression::MultilineOption);
        QList<QDateTime> shown;
        for (auto it = phrase.globalMatch(m_log.text()); it.hasNext();)
            shown << QDateTime::fromString(it.next().captured(1), u"yyyy-MM-dd HH:mm:ss"_s);
        QVERIFY2(!shown.isEmpty(), qPrintable(m_log.text()));
        for (qsizetype i = 1; i < shown.size(); ++i)
            QVERIFY2(shown[i - 1].secsTo(shown[i]) >= 14,
                     qPrintable(m_log.text())); // the log counts whole seconds

        cleanupTestCase(); // ends the program, which leaves the recording on disk
        for (QDirIterator files(m_home.filePath(u"support"_s), QDir::Files, QDirIterator::Subdirectories);
             files.hasNext();) {
            QFile file(files.next());
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QByteArray bytes = file.readAll().toLower();
            for (const QString& word : rareWords)
                QVERIFY2(!bytes.contains(word.toUtf8()), qPrintable(file.fileName() + u": "_s + word));
        }
    }
};

QTEST_MAIN(TestVoiceDesktop)
#include "tst_voice_desktop.moc"
