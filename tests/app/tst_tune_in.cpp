#include "Controller.h"
#include "support/Files.h"
#include "surfaces/HotKeys.h"
#include "voice/PinQueue.h"
#include "workday/CallApps.h"
#include "workday/CallDetector.h"

#include <QKeyEvent>
#include <QSignalSpy>
#include <QTest>
#include <QWidget>

using Mic = os::CapturePermission::Mic;
using State = TuneIn::State;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(Mic)

namespace {
const CallHit zoom{u"Zoom"_s, u"Weekly sync"_s};
}

// Tuning in and wrapping up on the controller, with fakes of the capture, the permissions, the prompter and
// the panel: the stages, their alerts and texts, the states, the tick, the call offer and the quit.
class TestTuneIn : public QObject {
    Q_OBJECT
    std::unique_ptr<Controller> c;

    TuneIn& flow() { return c->app().tuneIn(); }
    bool reaches(State state) {
        return QTest::qWaitFor([&] { return flow().state() == state; }, 5000);
    }
    // A recording from the call offer's "Tune in".
    bool recordFromOffer(const CallHit& hit = zoom) {
        flow().callDetected(hit);
        return c->press(u"Tune in"_s) && reaches(State::recording);
    }
    static QStringList folders() {
        return QDir(Paths::recordings()).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    }

private slots:
    void init() {
        c = std::make_unique<Controller>(u"http://127.0.0.1:9"_s);
        c->now = QDateTime(QDate(2026, 10, 30), QTime(14, 5)).toUTC();
    }
    void cleanup() { c.reset(); }

    void permissionStages_data() {
        QTest::addColumn<Mic>("status");
        QTest::addColumn<bool>("grants");
        QTest::addColumn<QString>("alert");  // empty: none
        QTest::addColumn<QString>("answer"); // empty: closed
        QTest::addColumn<bool>("records");
        QTest::addColumn<bool>("withMic");
        QTest::addColumn<QString>("nudge");
        const QString micOn =
            u"Recording screen & audio: mic = you, system audio = the other side. Ctrl+Alt+P "
            "adds a pin."_s;
        QTest::newRow("an allowed microphone records at once") << Mic::allowed << true << ""
                                                               << "" << true << true << micOn;
        QTest::newRow("a microphone asked for and allowed records with it")
            << Mic::notDetermined << true << ""
            << "" << true << true << micOn;
        QTest::newRow("a refused microphone records without it when told so")
            << Mic::notDetermined << false << "Microphone access is off"
            << "Tune in without mic" << true << false << "Without your mic (permission off).";
        QTest::newRow("without a microphone the recording says so")
            << Mic::none << true << "No microphone found"
            << "Tune in without mic" << true << false << "Without your mic (no microphone).";
        QTest::newRow("cancel starts nothing") << Mic::none << true << "No microphone found"
                                               << "Cancel" << false << false << "";
        QTest::newRow("closing the alert starts nothing") << Mic::denied << true << "Microphone access is off"
                                                          << "" << false << false << "";
        QTest::newRow("the sound settings open and nothing starts")
            << Mic::none << true << "No microphone found"
            << "Open Sound Settings" << false << false << "";
    }
    void permissionStages() {
        QFETCH(Mic, status);
        QFETCH(bool, grants);
        QFETCH(QString, alert);
        QFETCH(QString, answer);
        QFETCH(bool, records);
        QFETCH(bool, withMic);
        QFETCH(QString, nudge);
        c->permission->mic = status;
        c->permission->requestGrants = grants;
        flow().callDetected(zoom);
        QVERIFY(c->press(u"Tune in"_s));
        if (!alert.isEmpty()) {
            QVERIFY(QTest::qWaitFor([&] { return c->prompter->waiting(); }, 5000));
            QCOMPARE(c->prompter->last().title, alert);
            QVERIFY(c->prompter->answer(answer.isEmpty() ? std::nullopt : std::optional(answer)));
        }
        if (!records) {
            // Whatever the answer did, it did at once: a start would have made a capture by now.
            QCOMPARE(flow().state(), State::idle);
            QCOMPARE(c->captures.made, 0);
            QVERIFY(folders().isEmpty());
            QCOMPARE(c->permission->opened.size(), answer.startsWith("Open"_L1) ? 1 : 0);
            return;
        }
        QVERIFY(reaches(State::recording));
        QCOMPARE(c->captures.last->askedMic, withMic);
        QVERIFY(c->hud->showing);
        QCOMPARE(c->shownNudge()->title, u"Orvane active on your Zoom call"_s);
        QCOMPARE(c->shownNudge()->message.value_or(QString()), nudge);
    }

    void theScreenIsProbedWhenThePreflightSaysNo_data() {
        QTest::addColumn<bool>("readable");
        QTest::newRow("a screen that reads records") << true;
        QTest::newRow("no screen tells why and records nothing") << false;
    }
    void theScreenIsProbedWhenThePreflightSaysNo() {
        QFETCH(bool, readable);
        c->permission->screen = false;
        c->screen->readable = readable;
        flow().startRecording(std::nullopt);
        QCOMPARE(flow().state(), State::starting);
        if (readable)
            QVERIFY(reaches(State::recording));
        else {
            QVERIFY(QTest::qWaitFor([&] { return c->prompter->waiting(); }, 5000));
            QCOMPARE(c->prompter->last().title, u"Orvane has no screen to record"_s);
            QCOMPARE(c->prompter->last().buttons, QStringList({u"Open Settings"_s, u"Cancel"_s}));
            QCOMPARE(c->permission->screenRequests, 1);
            QCOMPARE(flow().state(), State::idle);
            QCOMPARE(c->captures.made, 0);
        }
    }

    void titles_data() {
        QTest::addColumn<bool>("fromCall");
        QTest::newRow("a call is named by its window") << true;
        QTest::newRow("a work session by its start") << false;
    }
    void titles() {
        QFETCH(bool, fromCall);
        if (fromCall)
            QVERIFY(recordFromOffer());
        else {
            flow().startRecording(std::nullopt);
            QVERIFY(reaches(State::recording));
        }
        const SessionMeta& meta = c->captures.last->session()->meta;
        QCOMPARE(meta.fromCall, fromCall);
        QCOMPARE(meta.app, fromCall ? u"Zoom"_s : u"Screen"_s);
        QCOMPARE(meta.title, fromCall ? CallApps::recordingTitle(u"Zoom"_s, zoom.title, c->now.toLocalTime())
                                      : u"Work session \u00b7 30 Oct 14:05"_s);
        QCOMPARE(flow().recordingFromCall(), fromCall);
    }

    void onlyAnIdleFlowStarts() {
        flow().startRecording(std::nullopt);
        flow().startRecording(std::nullopt); // while starting
        QVERIFY(reaches(State::recording));
        flow().startRecording(std::nullopt);
        flow().callDetected(zoom);
        QCOMPARE(c->captures.made, 1);
        QCOMPARE(folders().size(), 1);
        QVERIFY(!c->shownNudge() || c->shownNudge()->title != u"Call in Zoom \u2014 tune in?"_s);

        QSignalSpy saved(&flow(), &TuneIn::saved);
        FakeCapture* capture = c->captures.last;
        flow().stopRecording();
        flow().stopRecording();
        flow().toggleRecording(); // while saving
        QCOMPARE(flow().state(), State::saving);
        QCOMPARE(capture->stops, 1);
        QVERIFY(!c->hud->showing);
        QVERIFY(saved.wait(5000));
        QCOMPARE(flow().state(), State::idle);
        QCOMPARE(c->captures.made, 1);
    }

    void aFailedStartLeavesNothing_data() {
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("alert");
        QTest::newRow("a plain failure") << "no display to record"
                                         << "Could not tune in";
        QTest::newRow("a refusal") << "Screen capture permission declined"
                                   << "Orvane could not record the screen";
    }
    void aFailedStartLeavesNothing() {
        QFETCH(QString, error);
        QFETCH(QString, alert);
        c->captures.startError = error;
        flow().startRecording(std::nullopt);
        QVERIFY(QTest::qWaitFor([&] { return c->prompter->waiting(); }, 5000));
        QCOMPARE(c->prompter->last().title, alert);
        QVERIFY(c->prompter->last().text.startsWith(error));
        QCOMPARE(flow().state(), State::idle);
        QVERIFY(folders().isEmpty());
        QVERIFY(!c->hud->showing);
    }

    void theCallOffer_data() {
        QTest::addColumn<bool>("offerCalls");
        QTest::addColumn<bool>("autoRecord");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("quoted"); // empty: no offer
        const QString seventy(70, u'a');
        QTest::newRow("a call is offered with its window's title")
            << true << false << seventy << u"\u201c%1\u201d"_s.arg(seventy);
        QTest::newRow("a title of 71 characters is cut to 69")
            << true << false << seventy + u'b' << u"\u201c%1\u2026\u201d"_s.arg(QString(69, u'a'));
        QTest::newRow("auto-record records without asking") << true << true << seventy << "";
        QTest::newRow("calls not offered are not recorded either") << false << true << seventy << "";
    }
    void theCallOffer() {
        QFETCH(bool, offerCalls);
        QFETCH(bool, autoRecord);
        QFETCH(QString, title);
        QFETCH(QString, quoted);
        c->settings().setOfferCalls(offerCalls);
        c->settings().setAutoRecordCalls(autoRecord);
        c->windows->list = {{4242, u"Zoom"_s, title, u"us.zoom.Zoom"_s}};
        c->audio->state = os::InputState{u"mic"_s, {{4242, u"us.zoom.Zoom"_s}}};
        c->app().detector().tick();
        if (!quoted.isEmpty()) {
            QCOMPARE(c->shownNudge()->title, u"Call in Zoom \u2014 tune in?"_s);
            QVERIFY(c->shownNudge()->message->startsWith(quoted + u'\n'));
            QCOMPARE(c->captures.made, 0);
        } else if (autoRecord && offerCalls) {
            QVERIFY(reaches(State::recording));
            QVERIFY(flow().recordingFromCall());
        } else {
            QVERIFY(!c->shownNudge());
            QCOMPARE(c->captures.made, 0);
        }
    }

    void theTick() {
        c->windows->active = os::Window{77, u"Editor"_s, u"notes.txt"_s, u"org.editor"_s};
        flow().startRecording(std::nullopt);
        QVERIFY(reaches(State::recording));
        FakeCapture* capture = c->captures.last;
        QCOMPARE(capture->apps, QStringList{u"Editor"_s});
        // Someone else takes the microphone: by the 15th tick the work session is a call, and stays one.
        c->windows->list = {{4242, u"Zoom"_s, u"Zoom Meeting"_s, u"us.zoom.Zoom"_s}};
        c->audio->state = os::InputState{u"mic"_s, {{4242, u"us.zoom.Zoom"_s}}};
        for (int i = 1; i <= 30; ++i)
            flow().tick();
        QCOMPARE(capture->calls, QStringList{u"Zoom"_s});
        QCOMPARE(capture->apps.size(), 1 + 15); // every second tick

        // One row when a track falls silent, one when it hears again.
        const auto infoRows = [&] {
            QStringList rows;
            for (const HUDModel::Row& row : c->hud->model().feed())
                if (row.kind == FeedItem::Kind::info) rows.prepend(row.text);
            return rows;
        };
        c->captures.tracks.system = TrackHealth::State::OnlyZeros;
        flow().tick();
        flow().tick();
        c->captures.tracks.system = TrackHealth::State::Sound;
        flow().tick();
        QCOMPARE(infoRows(), QStringList({u"No sound from the other side for 60 s"_s,
                                          u"Sound from the other side again"_s}));
    }

    void theEndOfACall() {
        QVERIFY(recordFromOffer());
        flow().callEnded();
        QCOMPARE(c->shownNudge()->title, u"Call ended \u2014 wrap up?"_s);
        QVERIFY(c->press(u"Keep going"_s));
        QCOMPARE(flow().state(), State::recording);
        flow().callEnded();
        QSignalSpy saved(&flow(), &TuneIn::saved);
        QVERIFY(c->press(u"Wrap up"_s));
        QVERIFY(saved.wait(5000));
    }

    void aStreamErrorSavesWhatWasRecorded() {
        flow().startRecording(std::nullopt);
        QVERIFY(reaches(State::recording));
        QSignalSpy saved(&flow(), &TuneIn::saved);
        c->captures.last->onStreamError(u"the display went away"_s);
        QCOMPARE(c->shownNudge()->title, u"Session stopped by the system"_s);
        QCOMPARE(c->shownNudge()->message.value_or(QString()),
                 u"the display went away\nWhat was recorded so far is being saved."_s);
        QVERIFY(saved.wait(5000));
        // Not signed in and nowhere to send it: the wrap-up goes on to the upload, which asks for a sign-in.
        QTRY_COMPARE_WITH_TIMEOUT(c->shownNudge()->title, u"Sign in to send it"_s, 5000);
    }

    void aPinJoinsTheRecordingOrWaits_data() {
        QTest::addColumn<bool>("recording");
        QTest::addColumn<bool>("regionTaken");
        QTest::addColumn<bool>("noted");
        QTest::newRow("during a recording it joins it") << true << true << true;
        QTest::newRow("without one it waits in the queue") << false << true << true;
        QTest::newRow("a cancelled region adds nothing") << true << false << true;
        QTest::newRow("a cancelled note adds nothing") << false << true << false;
    }
    void aPinJoinsTheRecordingOrWaits() {
        QFETCH(bool, recording);
        QFETCH(bool, regionTaken);
        QFETCH(bool, noted);
        if (recording) {
            flow().startRecording(std::nullopt);
            QVERIFY(reaches(State::recording));
        }
        if (!noted) c->note.reset();
        emit c->hud->model().pinWanted(); // the panel's "Pin"
        QVERIFY(c->app().pinning().pinning());
        Pinning::Region region = std::exchange(c->region, {});
        c->app().pinning().addPin(); // a second request while the first is open
        QVERIFY(!c->region);
        region(regionTaken ? std::optional(QByteArray("jpeg")) : std::nullopt);
        QVERIFY(!c->app().pinning().pinning());
        QCOMPARE(c->notesAsked, regionTaken ? QList<bool>{recording} : QList<bool>{});
        const bool added = regionTaken && noted;
        QCOMPARE(PinQueue().count(), added && !recording ? 1 : 0);
        if (recording) {
            QCOMPARE(c->captures.last->pins, added ? QStringList{*c->note} : QStringList{});
            QCOMPARE(c->hud->model().feed().size(), added ? 1 : 0);
        }
    }

    void theGlobalKeys_data() {
        QTest::addColumn<bool>("spaceTaken");
        QTest::newRow("all three keys are free") << false;
        QTest::newRow("another program owns Ctrl+Alt+Space: it is logged, the others work") << true;
    }
    void theGlobalKeys() {
        QFETCH(bool, spaceTaken);
        const testsupport::LogWatch log;
        if (spaceTaken) c->keys->taken.insert(' ');
        c->app().applicationDidFinishLaunching();
        QCOMPARE(c->app().hotKeys().voiceKeyOK(), !spaceTaken);
        QCOMPARE(log.text().contains(
                     u"hotkey 3 not registered (BadAccess) \u2014 another app or a system shortcut "
                     "owns it\n"_s),
                 spaceTaken);

        emit c->keys->pressed(HotKeys::record);
        QVERIFY(reaches(State::recording));
        emit c->keys->released(HotKeys::record); // it has nothing to do on release
        emit c->keys->pressed(HotKeys::pin);
        QVERIFY(c->app().pinning().pinning());
        std::exchange(c->region, {})(std::nullopt);
        QSignalSpy saved(&flow(), &TuneIn::saved);
        emit c->keys->pressed(HotKeys::record);
        QCOMPARE(flow().state(), State::saving);
        QVERIFY(saved.wait(5000));
    }

    void aQuitWaitsForTheSaveAndAsksNothing_data() {
        QTest::addColumn<bool>("recording");
        QTest::addColumn<bool>("byKey");
        QTest::newRow("idle quits at once") << false << false;
        QTest::newRow("a recording is saved, then the program quits") << true << false;
        QTest::newRow("Ctrl+Q in any window takes the same road") << true << true;
    }
    void aQuitWaitsForTheSaveAndAsksNothing() {
        QFETCH(bool, recording);
        QFETCH(bool, byKey);
        c->app().applicationDidFinishLaunching();
        if (recording) {
            flow().startRecording(std::nullopt);
            QVERIFY(reaches(State::recording));
        }
        QWidget window;
        if (byKey) {
            window.show();
            QTimer::singleShot(0, &window, [&] { QTest::keyClick(&window, Qt::Key_Q, Qt::ControlModifier); });
        } else {
            QTimer::singleShot(0, &c->app(), &AppDelegate::requestQuit);
        }
        bool timedOut = false;
        QTimer::singleShot(5000, qApp, [&] {
            timedOut = true;
            QCoreApplication::exit(1);
        });
        QCOMPARE(QCoreApplication::exec(), 0);
        QVERIFY(!timedOut);
        QCOMPARE(c->app().quitAfterSave(), recording);
        const auto pending = Session::pending();
        QCOMPARE(pending.size(), recording ? 1 : 0);
        if (recording) {
            QVERIFY(!pending.first()->meta.routeDone);
            QVERIFY(c->app().filing().openQuestions().isEmpty());
        }
    }
};

QTEST_MAIN(TestTuneIn)
#include "tst_tune_in.moc"
