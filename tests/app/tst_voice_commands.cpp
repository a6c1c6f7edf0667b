#include "Controller.h"
#include "support/LocalPlatform.h"
#include "support/Rows.h"
#include "voice/PinQueue.h"

#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;
using testsupport::row;

// Push-to-talk on the controller with a listener that the test answers: what a round starts, what the
// sentence becomes during a recording and outside one, the click path, the 60-second guard, and a spoken card
// that lands on the local platform over real HTTP.
class TestVoiceCommands : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;
    std::unique_ptr<Controller> c;

    VoiceCommands& voice() { return c->app().voice(); }
    const VoicePill& pill() { return c->app().pill(); }
    bool recording() {
        c->app().tuneIn().startRecording(std::nullopt);
        return QTest::qWaitFor([&] { return c->app().tuneIn().state() == TuneIn::State::recording; }, 5000);
    }
    // A whole round by the key: down, allowed, up, and the decision.
    void say(const QString& text, bool command) {
        voice().voiceDown();
        c->voice->answer(true);
        voice().voiceUp();
        c->voice->heard({text, command});
    }

private slots:
    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
        c = std::make_unique<Controller>(m_platform->base());
    }
    void cleanup() {
        c.reset();
        m_platform.reset();
    }

    void aRoundStartsOnlyWhenAllowed_data() {
        QTest::addColumn<bool>("releasedFirst");
        QTest::addColumn<bool>("allowed");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("startError");
        QTest::addColumn<QString>("pillText"); // empty: no pill
        row("a key released while the model loads starts nothing", true, true, u""_s, u""_s, u""_s);
        row("a refusal says why", false, false, u"No microphone input."_s, u""_s, u"No microphone input."_s);
        row("a refusal without a reason says what is needed", false, false, u""_s, u""_s,
            u"Voice commands need speech and mic access."_s);
        row("a listener that cannot start says so", false, true, u""_s,
            u"Speech recognition is not available right now."_s,
            u"Speech recognition is not available right now."_s);
    }
    void aRoundStartsOnlyWhenAllowed() {
        QFETCH(bool, releasedFirst);
        QFETCH(bool, allowed);
        QFETCH(QString, message);
        QFETCH(QString, startError);
        QFETCH(QString, pillText);
        if (!startError.isEmpty()) c->voice->startError = startError;
        voice().voiceDown();
        if (releasedFirst) voice().voiceUp();
        c->voice->answer(allowed, message);
        QCOMPARE(c->voice->starts, 0);
        QVERIFY(!voice().held());
        QCOMPARE(pill().visible(), !pillText.isEmpty());
        if (!pillText.isEmpty()) QCOMPARE(pill().model(), (PillDisplay::Model{false, pillText}));
        // The next round is not blocked by the one that did not start.
        c->voice->startError.reset();
        voice().voiceDown();
        c->voice->answer(true);
        QCOMPARE(c->voice->starts, 1);
    }

    void whatASentenceBecomes_data() {
        QTest::addColumn<bool>("duringRecording");
        QTest::addColumn<bool>("recordingEndsFirst");
        QTest::addColumn<bool>("screenReadable");
        QTest::addColumn<QString>("heard");
        QTest::addColumn<bool>("command");
        QTest::addColumn<QString>("pillText"); // empty: the pill is hidden
        QTest::addColumn<QString>("nudge");    // empty: none
        QTest::addColumn<QString>("pinned");   // the pin's note in the recording; empty: none
        QTest::addColumn<bool>("textOnly");
        QTest::addColumn<int>("queued");
        row("a note during a recording joins it at the key-down", true, false, true,
            u"note check the venue page on mobile"_s, true, u"Noted: Check the venue page on mobile"_s, u""_s,
            u"Check the venue page on mobile"_s, true, 0);
        row("a note that ends after the recording waits in the queue", true, true, true,
            u"Note: check the venue page on mobile."_s, true,
            u"Noted: Check the venue page on mobile (queued)"_s, u""_s, u""_s, false, 1);
        row("a screenshot outside a recording waits in the queue", false, false, true,
            u"take a screenshot of the leaderboard"_s, true, u"Pinned the screen: The leaderboard (queued)"_s,
            u""_s, u""_s, false, 1);
        row("a screenshot with nothing said pins the whole screen", true, false, true, u"okay save this"_s,
            true, u"Pinned the screen"_s, u""_s, u"the whole screen (voice)"_s, false, 0);
        row("an unreadable screen pins nothing", true, false, false, u"screenshot"_s, true,
            u"Couldn\u2019t take the screenshot (Screen Recording permission?)"_s, u""_s, u""_s, false, 0);
        row("words the grammar did not accept are only heard", true, false, true,
            u"note that the notebook is late"_s, false, u""_s,
            u"Heard \u201cnote that the notebook is late\u201d"_s, u""_s, false, 0);
        row("a question is heard, not done", false, false, true, u"what time is it"_s, false, u""_s,
            u"Heard \u201cwhat time is it\u201d"_s, u""_s, false, 0);
        row("a note without words asks for them", false, false, true, u"note"_s, true,
            u"Say the note after \u201cnote\u201d"_s, u""_s, u""_s, false, 0);
        row("a card signed out asks for a sign-in", false, false, true, u"card send the brief to Mara"_s,
            true, u"Sign in to Orvane first (Settings)"_s, u""_s, u""_s, false, 0);
    }
    void whatASentenceBecomes() {
        QFETCH(bool, duringRecording);
        QFETCH(bool, recordingEndsFirst);
        QFETCH(bool, screenReadable);
        QFETCH(QString, heard);
        QFETCH(bool, command);
        QFETCH(QString, pillText);
        QFETCH(QString, nudge);
        QFETCH(QString, pinned);
        QFETCH(bool, textOnly);
        QFETCH(int, queued);
        if (!screenReadable) c->screenJpeg.reset();
        FakeCapture* capture = nullptr;
        if (duringRecording) {
            QVERIFY(recording());
            capture = c->captures.last;
            capture->at = 12.5;
        }
        voice().voiceDown();
        c->voice->answer(true);
        QVERIFY(c->hud->model().listening());
        if (capture) capture->at = 20; // the sentence takes its time; the pin keeps the key-down's
        voice().voiceUp();
        QVERIFY(!c->hud->model().listening());
        if (recordingEndsFirst) {
            c->app().tuneIn().stopRecording();
            QVERIFY(QTest::qWaitFor([&] { return c->app().tuneIn().state() == TuneIn::State::idle; }, 5000));
            capture = nullptr;
        }
        c->voice->heard({heard, command});

        QCOMPARE(pill().visible(), !pillText.isEmpty());
        if (!pillText.isEmpty()) QCOMPARE(pill().model().text, pillText);
        // The recording that ended may have its own nudge up.
        const QString shown = c->shownNudge() ? c->shownNudge()->title : QString();
        QCOMPARE(shown.startsWith(u"Heard"_s) ? shown : QString(), nudge);
        if (!nudge.isEmpty()) QVERIFY(c->press(u"Dismiss"_s));
        if (capture) {
            QCOMPARE(capture->pins, pinned.isEmpty() ? QStringList{} : QStringList{pinned});
            if (!pinned.isEmpty()) {
                QCOMPARE(capture->pinTimes.first(), 12.5);
                QCOMPARE(capture->textOnlyPins.first(), textOnly);
                QCOMPARE(c->hud->model().feed().first().text, pinned);
            }
        }
        QCOMPARE(PinQueue().count(), queued);
    }

    void theVoiceButtonStartsAndEndsARound() {
        voice().click();
        c->voice->answer(true);
        QVERIFY(voice().held());
        QCOMPARE(pill().model(),
                 (PillDisplay::Model{true, u"Listening\u2026 click Voice again when done"_s}));
        c->voice->onPartial(u"note check"_s);
        QCOMPARE(pill().model().text, u"note check"_s);
        voice().click();
        QVERIFY(!voice().held());
        QVERIFY(c->voice->pendingStop);
        QCOMPARE(pill().model(), (PillDisplay::Model{false, u"note check"_s}));
    }

    void aRoundNobodyEndsStopsAfterAMinute() {
        voice().voiceDown();
        c->voice->answer(true);
        c->now = c->now.addSecs(61);
        QVERIFY(QTest::qWaitFor([&] { return !voice().held(); }, 3000));
        QVERIFY(c->voice->pendingStop);
        QCOMPARE(pill().model(), (PillDisplay::Model{false, u"\u2026"_s}));
    }

    void aSpokenCardLandsInTheHomeProject() {
        QVERIFY(c->signInAndLoadProjects());
        const Workspace home = *c->settings().home();
        say(u"add a card: send the brief to Mara."_s, true);
        QVERIFY(!pill().visible());
        QCOMPARE(c->shownNudge()->title, u"Add a card to %1?"_s.arg(home.name));
        QVERIFY(c->press(u"Add card"_s));
        QVERIFY(QTest::qWaitFor(
            [&] { return c->shownNudge() && c->shownNudge()->title.startsWith(u"Card"_s); }, 10000));
        QCOMPARE(c->shownNudge()->title, u"Card added to %1: Send the brief to Mara"_s.arg(home.name));
        const QJsonArray todos = m_platform->todos(u"project:"_s + *home.slug);
        QCOMPARE(todos.last()[u"title"_s].toString(), u"Send the brief to Mara"_s);
        QCOMPARE(todos.last()[u"notes"_s].toString(), VoiceCommands::cardNote);
    }
};

QTEST_MAIN(TestVoiceCommands)
#include "tst_voice_commands.moc"
