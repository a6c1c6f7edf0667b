#include "RequiredServices.h"
#include "support/LocalPlatform.h"
#include "support/Program.h"
#include "support/ScreenReader.h"
#include "support/SignedInProgram.h"
#include "support/SupportLog.h"

#include <QFile>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Qt::Literals::StringLiterals;
using testsupport::activeWindow;
using testsupport::click;
using testsupport::run;
using testsupport::ScreenReader;

// The road a user takes, with the built program on a real desktop: a call starts in a browser, Orvane offers
// to tune in, records with its panel up, is wrapped up from the panel, asks where the recording goes, sends
// it to the local platform and tells when its review is ready.
class TestCallToReview : public QObject {
    Q_OBJECT
    QTemporaryDir m_home;

    testsupport::SupportLog m_log{m_home.filePath(u"support/orvane.log"_s)};

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY"), "an X server");
        REQUIRE_SERVICE(soundServerRuns(), "PulseAudio");
    }

    void aCallInTheBrowserEndsInAReview() {
        LocalPlatform platform;
        QVERIFY2(platform.isRunning(), qPrintable(platform.error()));
        QProcess orvane;
        QProcessEnvironment env;
        // Only the click decides where the recording goes: the question does not time out meanwhile.
        env.insert(u"ORVANE_ASK_SECONDS"_s, u"3600"_s);
        const QString failed =
            testsupport::startSignedIn(orvane, QStringLiteral(ORVANE_BINARY), platform, m_home.path(), env);
        QVERIFY2(failed.isEmpty(), qPrintable(failed));

        // The call: a browser's Meet window in front, and a helper holding the microphone.
        const QString title = u"Meet - abc-defg-hij - Google Chrome"_s;
        const auto browser = testsupport::tkWindow(QStringLiteral(ORVANE_TESTS_DIR "/workday/tk_window.py"),
                                                   u"google-chrome"_s, title);
        QVERIFY(browser->waitFor("window"));
        const std::optional<QByteArray> found =
            run(u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--onlyvisible"_s, u"--name"_s, u"^Meet - abc"_s});
        QVERIFY(found);
        const QString meet = QString::fromLatin1(found->split('\n').first());
        QVERIFY(QTest::qWaitFor(
            [&] {
                return run(u"xdotool"_s, {u"windowactivate"_s, meet}) && activeWindow() == meet;
            },
            10000));
        auto helper = std::make_unique<testsupport::Program>(
            u"parec"_s, QStringList{u"-d"_s, u"orvane_mic"_s, u"--raw"_s, u"/dev/null"_s});

        ScreenReader screen(orvane.processId());
        const auto offer = screen.waitFor(u"Call in Google Meet \u2014 tune in?"_s, 30000);
        QVERIFY2(offer, qPrintable(m_log.text()));
        QVERIFY(m_log.text().contains(u"call detected: Google Meet \u201c%1\u201d"_s.arg(title)));
        const std::optional<QPoint> tuneIn = offer->place(u"Tune in"_s);
        QVERIFY(tuneIn);
        QVERIFY(click(*tuneIn));

        // The panel comes up beside the call's note, and the call's window keeps the focus.
        QVERIFY2(m_log.waitFor(u"recording started: "_s), qPrintable(m_log.text()));
        QVERIFY2(screen.waitFor(u"Orvane active on your Google Meet call"_s, 20000),
                 qPrintable(screen.seen()));
        const auto notCall = [](const ScreenReader::Window& w) { return !w.reads(u"call"_s); };
        QVERIFY(screen.waitFor(u"Orvane active"_s, 20000, notCall));
        QCOMPARE(activeWindow(), meet);

        // The helper lets go of the microphone: nobody else talks, and Orvane asks after 20 s.
        helper.reset();
        QVERIFY2(screen.waitFor(u"Call ended \u2014 wrap up?"_s, 40000), qPrintable(m_log.text()));
        const auto pill = screen.waitFor(u"Orvane active"_s, 5000, notCall);
        QVERIFY(pill);
        QVERIFY(click(pill->frame.center()));
        const auto card = screen.waitFor(u"Wrap up"_s, 10000,
                                         [&](const ScreenReader::Window& w) { return w.id == pill->id; });
        QVERIFY2(card, qPrintable(screen.seen()));
        const std::optional<QPoint> wrapUp = card->place(u"Wrap up"_s);
        QVERIFY(wrapUp);
        QVERIFY(click(*wrapUp));

        const auto question = screen.waitFor(u"Where does this go?"_s, 60000);
        QVERIFY2(question, qPrintable(m_log.text()));
        const std::optional<QPoint> personal = question->place(u"Personal (private)"_s);
        QVERIFY(personal);
        QVERIFY(click(*personal));

        QVERIFY2(m_log.waitFor(u"uploaded abc-defg-hij -> "_s, 30000), qPrintable(m_log.text()));
        const QJsonArray calls = platform.calls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls[0][u"title"_s].toString(), u"abc-defg-hij"_s);
        QCOMPARE(calls[0][u"scope"_s].toString(), u"personal:1"_s);
        QVERIFY(calls[0][u"audio_bytes"_s].toInt() > 0);

        // The review is polled every 30 s.
        QVERIFY2(screen.waitFor(u"Review ready \u2014 abc-defg-hij"_s, 60000), qPrintable(m_log.text()));

        orvane.terminate();
        QVERIFY(orvane.waitForFinished(20000));
        QCOMPARE(orvane.exitCode(), 0);
    }
};

QTEST_MAIN(TestCallToReview)
#include "tst_call_to_review.moc"
