#include "Controller.h"
#include "support/LocalPlatform.h"

#include <QJsonArray>
#include <QTest>

using namespace std::chrono_literals;

// From a finished recording to the platform through the controller: the question, its default, the upload,
// what is left for later, the review and the move, against the local platform over real HTTP.
class TestUploadFlow : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalPlatform> m_platform;
    std::unique_ptr<Controller> m_c;

    Controller& c() { return *m_c; }
    // A team call with two of Brevik's members.
    std::shared_ptr<Session> teamCall(const QString& title = QStringLiteral("Weekly sync")) {
        auto session = c().recorded(title);
        session->meta.kind = QStringLiteral("call");
        session->meta.participants = {QStringLiteral("Ivo"), QStringLiteral("Tess")};
        session->save();
        return session;
    }
    // A session whose way is settled: Personal, or the project with this slug.
    std::shared_ptr<Session> decided(const QString& title, const QString& dest) {
        auto session = c().recorded(title);
        session->meta.routeDone = true;
        if (dest == FiledRef::personal)
            session->meta.personal = true;
        else
            session->meta.workspaceID = project(dest).id;
        session->save();
        return session;
    }
    Workspace project(const QString& slug) {
        for (const Workspace& p : c().settings().projects())
            if (p.slug == slug) return p;
        return {};
    }
    QStringList callScopes() {
        QStringList scopes;
        for (const QJsonValue call : m_platform->calls())
            scopes << call[QStringLiteral("scope")].toString();
        return scopes;
    }
    int requestsTo(const QString& pathEnd) {
        int n = 0;
        for (const QJsonValue r : m_platform->requests())
            n += r[QStringLiteral("method")].toString() == QLatin1String("POST") &&
                 r[QStringLiteral("path")].toString().endsWith(pathEnd);
        return n;
    }
    bool nudgeSays(const QString& title) {
        return QTest::qWaitFor([&] { return c().showsNudge(title); }, 10000);
    }
    QStringList buttonTitles() {
        QStringList titles;
        for (const NudgeButton& b : c().shownNudge()->buttons)
            titles << b.title;
        return titles;
    }
    bool anyUploading() {
        const auto pending = Session::pending();
        return std::any_of(pending.begin(), pending.end(),
                           [&](const auto& s) { return c().app().uploads().uploading(s->dir); });
    }
    bool uploaded(const Session& session) {
        return QTest::qWaitFor([&] { return !QFileInfo::exists(session.dir); }, 15000);
    }

private slots:
    void init() {
        m_platform = std::make_unique<LocalPlatform>();
        QVERIFY2(m_platform->isRunning(), qPrintable(m_platform->error()));
        QVERIFY(m_platform->reviewDelay(0ms));
        // The question's time-out is short where a test waits for it, and longer than any test elsewhere.
        const bool waitsForDefault =
            QByteArray(QTest::currentTestFunction()) == "withoutAnAnswerItGoesToPersonal";
        m_c = std::make_unique<Controller>(m_platform->base(), waitsForDefault ? 1 : 120);
        QVERIFY(c().signInAndLoadProjects());
    }
    void cleanup() {
        m_c.reset();
        m_platform.reset();
    }

    void aTeamCallIsSuggestedSentAndReviewed() {
        const auto session = teamCall();
        c().app().filing().finish(session);
        QVERIFY(nudgeSays(QStringLiteral("Where does this go?")));
        QCOMPARE(buttonTitles(),
                 QStringList({QStringLiteral("Brevik \u00b7 90%"), QStringLiteral("Personal (private)"),
                              QStringLiteral("Noctal \u00b7 0%")}));
        QVERIFY(c().shownNudge()->buttons[0].primary);
        QCOMPARE(c().shownNudge()->message.value_or(QString()),
                 QStringLiteral("\u201cWeekly sync\u201d\nSuggested: Brevik \u00b7 with Ivo, Tess\n"
                                "No choice in 2 min \u2192 Personal."));
        const std::function<void()> brevik = c().shownNudge()->buttons[0].action;

        brevik();
        QVERIFY(uploaded(*session));
        QCOMPARE(callScopes(), QStringList{QStringLiteral("project:brevik")});
        const auto* saved = std::get_if<UploadState::Saved>(&c().app().upload());
        QVERIFY(saved);
        QCOMPARE(saved->title, QStringLiteral("Weekly sync"));
        QCOMPARE(c().settings().lastFiled()->dest, QStringLiteral("brevik"));
        QCOMPARE(c().posted->posted.last().title, QStringLiteral("Weekly sync"));

        brevik(); // a late click on the same question: the session is gone, so nothing can start
        QVERIFY(!c().app().uploads().uploading(session->dir));
        QCOMPARE(callScopes().size(), 1);

        QCOMPARE(c().app().reviews().reviews().size(), 1);
        c().app().reviews().pollReviews();
        QVERIFY(QTest::qWaitFor([&] { return c().app().reviews().reviews().first().ready; }, 10000));
        QVERIFY(c().showsNudge(QStringLiteral("Review ready \u2014 Weekly sync")));
        c().press(QStringLiteral("Open"));
        QCOMPARE(c().opened->opened.size(), 1);
    }

    void aClearTeamCallIsFiledWhenTheUserOptedIn() {
        c().settings().setAutoFileTeamCalls(true);
        const auto session = teamCall(QStringLiteral("Brevik planning"));
        c().app().filing().finish(session);
        QVERIFY(nudgeSays(QStringLiteral("Filed in Brevik")));
        QCOMPARE(
            c().shownNudge()->message.value_or(QString()),
            QStringLiteral(
                "\u201cBrevik planning\u201d \u00b7 with Ivo, Tess. Move it from the menu if that\u2019s "
                "wrong."));
        QVERIFY(uploaded(*session));
        QCOMPARE(callScopes(), QStringList{QStringLiteral("project:brevik")});
    }

    void withoutAnAnswerItGoesToPersonal() {
        const auto session = c().recorded(QStringLiteral("Reading the budget"));
        c().app().filing().finish(session);
        QVERIFY(nudgeSays(QStringLiteral("Where does this go?")));
        QCOMPARE(c().shownNudge()->buttons[0].title, QStringLiteral("Personal (private)"));
        QVERIFY(c().shownNudge()->buttons[0].primary);
        QVERIFY(uploaded(*session));
        QCOMPARE(callScopes().size(), 1);
        QVERIFY(callScopes().first().startsWith(QStringLiteral("personal:")));
        QCOMPARE(c().settings().lastFiled()->dest, FiledRef::personal);
        const bool toldPersonal =
            std::any_of(c().posted->posted.begin(), c().posted->posted.end(), [](const auto& n) {
                return n.title == QStringLiteral("Where does this go? \u2192 Personal");
            });
        QVERIFY(toldPersonal);
    }

    void decidingOneQuestionAsksTheNext() {
        const auto first =
            c().recorded(QStringLiteral("First"), QDateTime::currentDateTimeUtc().addSecs(-600));
        const auto second = c().recorded(QStringLiteral("Second"));
        c().app().uploads().retryUploads();
        QVERIFY(QTest::qWaitFor(
            [&] {
                return c().showsNudge(QStringLiteral("Where does this go?")) &&
                       c().shownNudge()->message->startsWith(QStringLiteral("\u201cSecond"));
            },
            10000));
        // Decided on disk meanwhile, from elsewhere: its question is not asked again.
        c().app().filing().choose(*first, {true, std::nullopt, {}, false});
        QVERIFY(uploaded(*first));
        QVERIFY(c().shownNudge()->message->startsWith(QStringLiteral("\u201cSecond")));
        QVERIFY(c().press(QStringLiteral("Personal (private)")));
        QVERIFY(uploaded(*second));
        QCOMPARE(callScopes().size(), 2);
    }

    void aProjectThatIsGoneIsAskedAgain() {
        auto session = c().recorded(QStringLiteral("Old project"));
        session->meta.routeDone = true;
        session->meta.workspaceID = QUuid::createUuid();
        session->meta.routed = Routed{0.9, {QStringLiteral("with Ivo")}, false};
        session->save();
        c().app().filing().finish(session);
        const auto onDisk = Session::load(session->dir);
        QVERIFY(!onDisk->meta.routeDone);
        QVERIFY(!onDisk->meta.routed);
        QVERIFY(nudgeSays(QStringLiteral("Where does this go?")));
    }

    void retriesStopAtTheFirstFailure() {
        const auto first = decided(QStringLiteral("First"), QStringLiteral("brevik"));
        first->meta.started = first->meta.started.addSecs(-600);
        first->save();
        const auto second = decided(QStringLiteral("Second"), QStringLiteral("brevik"));
        QVERIFY(m_platform->fault({QStringLiteral("/api/v1/p/brevik/calls"), 500,
                                   R"({"error":"down for a moment"})", "application/json",
                                   QStringLiteral("POST")}));
        c().app().uploads().retryUploads();
        QVERIFY(QTest::qWaitFor(
            [&] { return std::holds_alternative<UploadState::Failed>(c().app().upload()); }, 10000));
        QCOMPARE(std::get<UploadState::Failed>(c().app().upload()).message,
                 QStringLiteral("down for a moment (HTTP 500)"));
        // The chain looks on as each upload ends: the failure ended it, and the second never started.
        QVERIFY(!c().app().uploads().uploading(second->dir));
        QCOMPARE(requestsTo(QStringLiteral("/calls")), 1);
        QVERIFY(QFileInfo::exists(first->dir));
        QVERIFY(QFileInfo::exists(second->dir));
        QCOMPARE(Session::load(first->dir)->meta.lastError.value_or(QString()),
                 QStringLiteral("down for a moment (HTTP 500)"));
    }

    void personalClosedKeepsRecordingsHereAndProbesOnce() {
        QVERIFY(m_platform->closePersonal());
        const auto first = decided(QStringLiteral("One"), FiledRef::personal);
        c().app().filing().finish(first);
        QVERIFY(nudgeSays(QStringLiteral("Kept on this computer \u2014 Personal opens soon")));
        QVERIFY(Session::load(first->dir)->meta.waitingPersonal.value_or(false));
        QVERIFY(std::holds_alternative<UploadState::Idle>(c().app().upload()));
        QCOMPARE(requestsTo(QStringLiteral("/calls")), 1);
        QVERIFY(callScopes().isEmpty()); // never a project instead

        for (const QString& title : {QStringLiteral("Two"), QStringLiteral("Three")}) {
            auto waiting = decided(title, FiledRef::personal);
            waiting->meta.waitingPersonal = true;
            waiting->save();
        }
        c().app().uploads().retryUploads(); // waiting recordings are Personal's own retry's
        c().app().uploads().retryPersonal(false);
        QVERIFY(QTest::qWaitFor([&] { return requestsTo(QStringLiteral("/calls")) == 2; }, 10000));
        QVERIFY(QTest::qWaitFor([&] { return !anyUploading(); }, 10000));
        c().now = c().now.addSecs(1800); // within the half hour: no probe starts
        c().app().uploads().retryPersonal(false);
        QVERIFY(!anyUploading());
        c().now = c().now.addSecs(1); // past it, the next probe goes
        c().app().uploads().retryPersonal(false);
        QVERIFY(QTest::qWaitFor([&] { return requestsTo(QStringLiteral("/calls")) == 3; }, 10000));
        QVERIFY(QTest::qWaitFor([&] { return !anyUploading(); }, 10000));

        QVERIFY(m_platform->closePersonal(false));
        c().app().uploads().retryPersonal(true);
        QVERIFY(QTest::qWaitFor([&] { return Session::pending().isEmpty(); }, 15000));
        QCOMPARE(callScopes().size(), 3);
    }

    void aCallThatIsGoneEndsItsWatch() {
        const auto session = decided(QStringLiteral("Short one"), QStringLiteral("brevik"));
        QVERIFY(m_platform->reviewDelay(std::chrono::hours(1)));
        c().app().filing().finish(session);
        QVERIFY(uploaded(*session));
        QCOMPARE(c().app().reviews().reviews().size(), 1);
        QVERIFY(m_platform->fault({QStringLiteral("/api/v1/p/brevik/calls/*"), 404, R"({"error":"gone"})",
                                   "application/json", QStringLiteral("GET")}));
        c().app().reviews().pollReviews();
        QVERIFY(QTest::qWaitFor([&] { return c().app().reviews().reviews().isEmpty(); }, 10000));
    }

    void aReviewThatNeverComesEndsSilentlyAfterTwentyMinutes() {
        const auto session = decided(QStringLiteral("Quiet one"), QStringLiteral("brevik"));
        QVERIFY(m_platform->reviewDelay(std::chrono::hours(1)));
        c().app().filing().finish(session);
        QVERIFY(uploaded(*session));
        QVERIFY(QTest::qWaitFor([&] { return c().app().reviews().reviews().size() == 1; }, 10000));
        c().now = c().now.addSecs(Reviews::watchSeconds + 1);
        c().app().reviews().pollReviews();
        QVERIFY(c().app().reviews().reviews().isEmpty());
        QVERIFY(!c().showsNudge(QStringLiteral("Review ready \u2014 Quiet one")));
    }

    void theLastFiledRecordingMoves() {
        const auto session = decided(QStringLiteral("Planning"), QStringLiteral("brevik"));
        c().app().filing().finish(session);
        QVERIFY(uploaded(*session));
        const FiledRef filed = *c().settings().lastFiled();

        QVERIFY(m_platform->fault({QStringLiteral("/api/v1/p/brevik/calls/*"), 404,
                                   R"({"error":"not found"})", "application/json", QStringLiteral("POST")}));
        c().app().filing().askMove();
        QCOMPARE(c().shownNudge()->title, QStringLiteral("\u201cPlanning\u201d?"));
        QCOMPARE(buttonTitles(),
                 QStringList({QStringLiteral("Personal (private)"), QStringLiteral("Noctal")}));
        QVERIFY(c().press(QStringLiteral("Noctal")));
        QVERIFY(nudgeSays(QStringLiteral("Couldn\u2019t move it yet")));
        QCOMPARE(*c().settings().lastFiled(), filed);

        c().app().filing().askMove();
        QVERIFY(c().press(QStringLiteral("Noctal")));
        QVERIFY(nudgeSays(QStringLiteral("Moved to Noctal")));
        QCOMPARE(c().settings().lastFiled()->dest, QStringLiteral("noctal"));
        QVERIFY(c().settings().lastFiled()->id != filed.id);
        QVERIFY(c().press(QStringLiteral("Open")));
        QCOMPARE(c().opened->opened.size(), 1);
    }
};

QTEST_MAIN(TestUploadFlow)
#include "tst_upload_flow.moc"
