#include "support/Rows.h"
#include "surfaces/menu/MenuBuilder.h"
#include "surfaces/menu/MenuModel.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using testsupport::row;
Q_DECLARE_METATYPE(MenuInputs)
Q_DECLARE_METATYPE(Tone)
using Kind = MenuInputs::Upload::Kind;

// The tray panel's rows, built from plain inputs, and the model that holds them and the keyboard selection.
class TestMenu : public QObject {
    Q_OBJECT

    static MenuInputs signedIn(int projects) {
        MenuInputs in;
        in.account = {true, u"Ivo Brandt"_s, u"ivo@example.com"_s, std::nullopt};
        in.platformBase = u"https://orvane.app"_s;
        for (int i = 0; i < projects; ++i)
            in.projects.append({u"id%1"_s.arg(i), i == 0 ? u"Brevik"_s : u"Noctal"_s, u"https://b.example"_s,
                                i == 0 ? std::optional(u"lead"_s) : std::nullopt});
        in.todos.haveSource = projects > 0;
        in.todos.loaded = true;
        return in;
    }
    static QStringList cardIds(const MenuState& s) {
        QStringList ids;
        for (const Attn& card : s.attention)
            ids << card.id;
        return ids;
    }
    static QStringList actionIds(const BuiltMenu& built) {
        QStringList ids;
        for (const MenuAction& action : built.actions)
            ids << action.id;
        return ids;
    }

private slots:
    void theHeader_data() {
        QTest::addColumn<MenuInputs>("in");
        QTest::addColumn<QString>("header");
        QTest::addColumn<Tone>("tone");
        MenuInputs code;
        code.signInCode = u"WXYZ-1234"_s;
        code.legacy = MenuInputs::Legacy{u"Ivo"_s, u"Old team"_s};
        MenuInputs legacy;
        legacy.legacy = MenuInputs::Legacy{std::nullopt, u"Old team"_s};
        MenuInputs erring = signedIn(2);
        erring.account = {true, std::nullopt, std::nullopt, u"Session expired"_s};
        erring.platformBase = u"not a url"_s;
        MenuInputs todos = signedIn(1);
        todos.todos.items = {{u"t1"_s, u"Ship"_s, u"open"_s, {}, {}, {}, {}}};
        row("signed in with one project", signedIn(1), u"Ivo Brandt — Brevik\n  ● connected · orvane.app"_s,
            Tone::accent);
        row("signed in with none", signedIn(0), u"Ivo Brandt — No project yet\n  ● connected · orvane.app"_s,
            Tone::accent);
        row("to-dos are counted in the status", todos,
            u"Ivo Brandt — Brevik\n  ● connected · orvane.app · 1 up next"_s, Tone::accent);
        row("an account error turns it amber; no name is You, a base without host stands", erring,
            u"You — 2 projects\n  ● connected · not a url"_s, Tone::amber);
        row("a running code comes before a legacy server", code,
            u"Signing in… — code WXYZ-1234\n  approve the code in your browser"_s, Tone::plain);
        row("a legacy server without a name", legacy,
            u"Orvane — Old team (legacy server)\n  ● legacy server"_s, Tone::silver);
        row("nothing at all", MenuInputs(), u"Orvane — Not signed in\n  ○ sign in to send sessions"_s,
            Tone::plain);
    }
    void theHeader() {
        QFETCH(MenuInputs, in);
        const MenuState s = MenuBuilder::build(in).state;
        QFETCH(QString, header);
        QCOMPARE(s.dump().section(u'\n', 0, 1), header);
        QTEST(s.statusTone, "tone");
    }

    void theCards_data() {
        QTest::addColumn<MenuInputs>("in");
        QTest::addColumn<QStringList>("cards");
        QTest::addColumn<QString>("line"); // one line of the dump
        MenuInputs code;
        code.signInCode = u"WXYZ"_s;
        MenuInputs failed = signedIn(1);
        failed.upload = {Kind::failed, QString(70, u'a'), u"HTTP 500"_s, {}};
        MenuInputs saved = signedIn(1);
        saved.upload = {Kind::saved, u"Standup"_s, {}, QUrl(u"https://b.example/rec/1"_s)};
        MenuInputs where = signedIn(2);
        where.questions = {{u"20261124-101500"_s,
                            QString(50, u'x'),
                            u"no team signals"_s,
                            {u"Brevik"_s, u"Personal (private)"_s},
                            1}};
        MenuInputs counts = signedIn(1);
        counts.queuedPins = 1;
        counts.keptForPersonal = 2;
        counts.failedSessions = 3;
        MenuInputs review = signedIn(1);
        review.reviews = {{u"c1"_s, u"Weekly"_s, {QString(45, u'y'), u"Call Tess"_s}}};
        review.lastFiled = MenuInputs::LastFiled{u"Weekly"_s, u"Brevik"_s};
        MenuInputs error = signedIn(1);
        error.account.error = u"Session expired"_s;
        error.upload = {Kind::busy, u"Uploading audio…"_s, {}, {}};
        row("a code replaces the sign-in card", code, QStringList{u"a.code"_s},
            u"[ SIGNING IN… ] Approve WXYZ in the browser"_s);
        row("signed out asks to sign in", MenuInputs(), QStringList{u"a.signin"_s}, u"    ▸ Sign in"_s);
        row("signed in without a project", signedIn(0), QStringList{u"a.newproject"_s},
            u"[ PROJECTS ] Create or join a project"_s);
        row("a failed send is cut to 60", failed, QStringList{u"a.up"_s},
            u"[ SAVED ON THIS COMPUTER ] %1… — HTTP 500"_s.arg(QString(59, u'a')));
        row("a saved send opens the library", saved, QStringList{u"a.up"_s}, u"      Open in Library"_s);
        row("the question offers each choice, the suggested first in weight", where,
            QStringList{u"w.20261124-101500"_s}, u"    ▸ Personal (private)"_s);
        row("pins, Personal and failed sends are counted in words", counts,
            QStringList{u"a.pins"_s, u"a.soon"_s, u"a.retry"_s},
            u"[ SAVED ON THIS COMPUTER ] 3 sessions not sent yet"_s);
        row("a review lists its suggestions, cut to 40", review, QStringList{u"r.c1"_s, u"a.move"_s},
            u"      Add “%1…”…"_s.arg(QString(39, u'y')));
        row("an account error and a busy send", error, QStringList{u"a.err"_s, u"a.up"_s},
            u"[ UPLOADING ] Uploading audio…"_s);
    }
    void theCards() {
        QFETCH(MenuInputs, in);
        QFETCH(QString, line);
        const BuiltMenu built = MenuBuilder::build(in);
        QTEST(cardIds(built.state), "cards");
        QVERIFY2(built.state.dump().split(u'\n').contains(line), qPrintable(built.state.dump()));
        // Every button of a card acts, in the order it stands.
        for (const Attn& card : built.state.attention)
            for (const MBtn& button : card.buttons)
                QVERIFY(actionIds(built).contains(button.id));
    }

    void upNextNotes_data() {
        QTest::addColumn<MenuInputs>("in");
        QTest::addColumn<QString>("line");
        MenuInputs signedOut;
        MenuInputs stale = signedIn(2);
        stale.todos.needsUpdate = true;
        stale.todos.lacking = {u"Brevik"_s, u"Noctal"_s};
        MenuInputs one = signedIn(2);
        one.todos.needsUpdate = true;
        one.todos.lacking = {u"Brevik"_s};
        MenuInputs some = signedIn(2);
        some.todos.lacking = {u"Noctal"_s};
        MenuInputs failing = signedIn(1);
        failing.todos.loadError = QString(60, u'e');
        MenuInputs loading = signedIn(1);
        loading.todos.loaded = false;
        row("no source, signed out", signedOut, u"// UP NEXT (0) — Sign in to Orvane first"_s);
        row("no source, signed in", signedIn(0), u"// UP NEXT (0) — No project yet"_s);
        row("every project lacks the route", stale, u"// UP NEXT (0) — These projects need an update"_s);
        row("the one server lacks it", one, u"// UP NEXT (0) — Workspace needs an update"_s);
        row("some projects lack it", some, u"// UP NEXT (0) — Needs an update: Noctal"_s);
        row("a load error is cut to 50", failing,
            u"// UP NEXT (0) — Couldn’t load: %1…"_s.arg(QString(49, u'e')));
        row("before the first load", loading, u"// UP NEXT (0) — Loading…"_s);
        row("nothing to do", signedIn(1), u"// UP NEXT (0) — Nothing up next"_s);
    }
    void upNextNotes() {
        QFETCH(MenuInputs, in);
        QFETCH(QString, line);
        const QString dump = MenuBuilder::build(in).state.dump();
        QVERIFY2(dump.split(u'\n').contains(line), qPrintable(dump));
    }

    // A whole panel as text: what `--dump-menu` prints.
    void theDump() {
        MenuInputs in = signedIn(2);
        in.rec = Rec::Recording{75, 12, 2, true};
        in.pinning = true;
        in.voiceKeyOK = true;
        in.reviews = {{u"c1"_s, u"Weekly"_s, {}}};
        in.todos.startedStatuses = {u"doing"_s};
        in.todos.items = {
            {u"t1"_s, u"Ship the beta"_s, u"Doing"_s, u"Launch"_s, u"2h"_s, u"w1"_s, u"Brevik"_s},
            {u"t2"_s, u"Write notes"_s, u"open"_s, {}, {}, {}, {}}};
        in.workday = MenuInputs::Workday{5400, u"14:30"_s, true, true};
        in.endOfDay = true;
        const BuiltMenu built = MenuBuilder::build(in);
        QCOMPARE(built.state.dump(), uR"(Ivo Brandt — 2 projects
  ● connected · orvane.app · 2 up next
[● Orvane active 1:15 · recording screen & audio · 12 shots · 2 pins — Wrap up]
[Open board Ctrl+O]
Add pin Ctrl+Alt+P  Voice hold Ctrl+Alt+Space
[ REVIEW READY ] Weekly
    ▸ Open review
// UP NEXT (2)
  Brevik
    ▶ Ship the beta  [Done]
  
    Write notes  [Start]  [Done]
Today 1 h 30 m tracked · paused until 14:30 · sync needs an update  [Resume]
// PROJECTS
  Brevik · lead
  Noctal
End my day…
How Orvane works
Settings…  Ctrl+,
Quit Orvane  Ctrl+Q)"_s);
        // The pin button stays while a region is picked, without an action; rows act in screen order.
        QCOMPARE(built.state.quick.first().id, u"q.pin.off"_s);
        QCOMPARE(actionIds(built),
                 (QStringList{u"rec"_s, u"board.open"_s, u"q.voice"_s, u"r.c1"_s, u"upnext.toggle"_s,
                              u"todo.w1.t1"_s, u"todo.w1.t1.done"_s, u"todo.-.t2"_s, u"todo.-.t2.start"_s,
                              u"todo.-.t2.done"_s, u"wd.toggle"_s, u"p.id0"_s, u"p.id1"_s, u"p.new"_s,
                              u"f.wrap"_s, u"f.guide"_s, u"f.settings"_s, u"f.quit"_s}));
        QCOMPARE(built.state.groups.first().items.first().meta, u"Launch · 2h · Doing"_s);
    }

    // The work-day line says once why the day's spans name no app.
    void theWorkdayLineOnADesktopThatHidesTheAppInFront() {
        MenuInputs in = signedIn(1);
        in.workday = MenuInputs::Workday{600, std::nullopt, false, false, true};
        QCOMPARE(MenuBuilder::build(in).state.workday->line,
                 u"Today 10 m tracked\nThis desktop doesn\u2019t tell Orvane which app is in front"_s);
        in.workday->frontmostUnknown = false;
        QCOMPARE(MenuBuilder::build(in).state.workday->line, u"Today 10 m tracked"_s);
    }

    void theModelMovesActsAndForgets() {
        QTemporaryDir dir;
        QSettings defaults(dir.filePath(u"d.conf"_s), QSettings::IniFormat);
        MenuModel model(defaults);
        QStringList ran;
        int closes = 0;
        model.setClose([&] { ++closes; });
        model.begin();
        for (const QString& id : {u"rec"_s, u"todo.-.1"_s, u"todo.-.1.done"_s, u"f.quit"_s})
            model.act(id, [&ran, id] { ran << id; });
        model.act(u"rec"_s, [&ran] { ran << u"rec again"_s; }); // a known id keeps its place
        model.commit({});
        QCOMPARE(model.visibleOrder(),
                 (QStringList{u"rec"_s, u"todo.-.1"_s, u"todo.-.1.done"_s, u"f.quit"_s}));

        model.move(-1); // ↑ from nothing is the last
        QCOMPARE(model.selected(), u"f.quit"_s);
        model.move(5); // no wrap
        QCOMPARE(model.selected(), u"f.quit"_s);
        model.clearSelection();
        model.move(1);
        model.move(1);
        model.performSelected(); // a to-do row acts with the panel left open
        QCOMPARE(ran, QStringList{u"todo.-.1"_s});
        QCOMPARE(closes, 0);
        model.perform(u"rec"_s);
        QCOMPARE(ran.last(), u"rec again"_s);
        QCOMPARE(closes, 1);
        model.perform(u"nothing"_s);
        QCOMPARE(closes, 1);

        // Folded, the to-do rows leave the order, and the fold is kept for the next start.
        model.setUpNextOpen(false);
        QCOMPARE(model.visibleOrder(), (QStringList{u"rec"_s, u"f.quit"_s}));
        QCOMPARE(MenuModel(defaults).upNextOpen(), false);
        // A selection whose action is gone after a rebuild is forgotten.
        model.begin();
        model.act(u"rec"_s, [] {});
        model.commit({});
        QVERIFY(!model.selected());
    }
};

QTEST_GUILESS_MAIN(TestMenu)
#include "tst_menu.moc"
