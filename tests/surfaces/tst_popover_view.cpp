#include "support/Rows.h"
#include "surfaces/menu/MenuBuilder.h"
#include "surfaces/menu/MenuModel.h"
#include "surfaces/popover/PopoverView.h"

#include <QApplication>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using testsupport::row;
using In = MenuInputs;
Q_DECLARE_METATYPE(MenuInputs)

namespace {

// Signed in with two projects and two to-dos.
In basic() {
    In in;
    in.account = {true, u"Ada Lovelace"_s, u"ada@example.com"_s, std::nullopt};
    in.platformBase = u"https://orvane.app"_s;
    in.projects = {{u"launch"_s, u"Launch plan"_s, u"https://orvane.app"_s, u"Owner"_s},
                   {u"research"_s, u"Research"_s, u"https://orvane.app"_s, std::nullopt}};
    in.todos = {true, true, std::nullopt, false, {}, {u"in progress"_s}, {}};
    in.todos.items = {
        {u"1"_s, u"Call the printer"_s, u"In progress"_s, u"Launch"_s, u"S"_s, u"launch"_s, u"Launch plan"_s},
        {u"2"_s, u"Draft the pricing page"_s, u"Todo"_s, std::nullopt, std::nullopt, u"launch"_s,
         u"Launch plan"_s}};
    return in;
}

// With the work day and two cards as well, the panel scrolls.
In signedIn() {
    In in = basic();
    in.workday = In::Workday{3600, std::nullopt, false, false};
    in.queuedPins = 2;
    in.questions = {
        {u"s1"_s, u"Design review"_s, u"Mentions the launch."_s, {u"Launch plan"_s, u"Personal"_s}, 0}};
    return in;
}

// Enough to-dos that the panel scrolls.
In crowded(int todos) {
    In in = signedIn();
    for (int i = 3; i <= todos; ++i)
        in.todos.items.append({QString::number(i), u"To-do %1"_s.arg(i), u"Todo"_s, std::nullopt,
                               std::nullopt, u"research"_s, u"Research"_s});
    return in;
}

// The view over a model built from inputs as the app builds it; each action and the panel's close write to
// one log. The fold works as the app binds it.
class Panel {
public:
    explicit Panel(const In& in)
        : m_store(m_dir.filePath(u"d.conf"_s), QSettings::IniFormat), m_model(m_store) {
        m_model.setClose([this] { log << u"close"_s; });
        load(in);
        view = std::make_unique<PopoverView>(m_model);
        view->show();
    }
    void load(const In& in) {
        const BuiltMenu built = MenuBuilder::build(in);
        m_model.begin();
        for (const MenuAction& action : built.actions)
            m_model.act(action.id, [this, id = action.id] {
                log << id;
                if (id == u"upnext.toggle"_s) m_model.setUpNextOpen(!m_model.upNextOpen());
            });
        m_model.commit(built.state);
    }
    MenuModel& model() { return m_model; }
    bool select(const QString& id) {
        m_model.clearSelection();
        for (qsizetype i = 0; i < m_model.visibleOrder().size() && m_model.selected() != id; ++i)
            m_model.move(1);
        return m_model.selected() == id;
    }
    // The part of the card on screen: inside the shadow's margin.
    QRect card() const {
        const int m = OVCard::shadowMargin;
        return view->rect().adjusted(m, m, -m, -m);
    }
    QImage look(const QRect& area) const { return view->grab(area.adjusted(-3, -3, 3, 3)).toImage(); }

    QStringList log;
    std::unique_ptr<PopoverView> view;

private:
    QTemporaryDir m_dir;
    QSettings m_store;
    MenuModel m_model;
};

} // namespace

// The tray panel's content on a real model: what a click runs, how the keyboard selection looks and scrolls,
// and the panel's height and width whatever it is given.
class TestPopoverView : public QObject {
    Q_OBJECT

private slots:
    void aClickRunsItsAction_data() {
        QTest::addColumn<In>("inputs");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QStringList>("log");
        const In in = signedIn();
        const auto closing = [](const QString& id) { return QStringList{u"close"_s, id}; };
        row("the main button closes the panel, then tunes in", in, u"rec"_s, closing(u"rec"_s));
        row("Open board closes the panel first", in, u"board.open"_s, closing(u"board.open"_s));
        row("a quick button closes the panel first", in, u"q.voice"_s, closing(u"q.voice"_s));
        row("a card's button closes the panel first", in, u"a.pins.send"_s, closing(u"a.pins.send"_s));
        row("a stacked choice closes the panel first", in, u"w.s1.1"_s, closing(u"w.s1.1"_s));
        row("a to-do row leaves the panel open", in, u"todo.launch.2"_s, QStringList{u"todo.launch.2"_s});
        row("a to-do's Start leaves it open", in, u"todo.launch.2.start"_s,
            QStringList{u"todo.launch.2.start"_s});
        row("a to-do's Done leaves it open", in, u"todo.launch.1.done"_s,
            QStringList{u"todo.launch.1.done"_s});
        row("the Up next fold leaves it open", in, u"upnext.toggle"_s, QStringList{u"upnext.toggle"_s});
        row("the work-day button closes it first", in, u"wd.toggle"_s, closing(u"wd.toggle"_s));
        row("a project row closes it first", in, u"p.research"_s, closing(u"p.research"_s));
        row("New project… closes it first", in, u"p.new"_s, closing(u"p.new"_s));
        row("a footer row closes it first", in, u"f.quit"_s, closing(u"f.quit"_s));
        In pinning = in;
        pinning.pinning = true;
        row("the pin button does nothing while a region is picked", pinning, u"q.pin.off"_s, QStringList{});
        In recording = in;
        recording.rec = Rec::Recording{75, 3, 1, true};
        row("while recording, Wrap up closes the panel, then wraps up", recording, u"rec"_s,
            closing(u"rec"_s));
    }
    void aClickRunsItsAction() {
        QFETCH(In, inputs);
        QFETCH(QString, id);
        QFETCH(QStringList, log);
        Panel panel(inputs);
        QVERIFY(QTest::qWaitForWindowExposed(panel.view.get()));
        if (panel.model().acts(id)) QVERIFY(panel.select(id)); // scrolled to, as a user would
        const QRect area = panel.view->areaOf(id);
        QVERIFY2(!area.isEmpty() && panel.card().contains(area.center()), qPrintable(id));
        QWidget* target = panel.view->childAt(area.center());
        QVERIFY(target);
        QTest::mouseClick(target, Qt::LeftButton, {}, target->mapFrom(panel.view.get(), area.center()));
        QCOMPARE(panel.log, log);
    }

    void theSelectionDrawsAsSelected_data() {
        QTest::addColumn<QString>("id");
        row("the main button", u"rec"_s);
        row("Open board", u"board.open"_s);
        row("a quick button", u"q.pin"_s);
        row("a card's button", u"a.pins.send"_s);
        row("a stacked choice", u"w.s1.0"_s);
        row("the Up next head", u"upnext.toggle"_s);
        row("a to-do row", u"todo.launch.2"_s);
        row("a to-do's Start", u"todo.launch.2.start"_s);
        row("a to-do's Done", u"todo.launch.2.done"_s);
        row("the work-day button", u"wd.toggle"_s);
        row("a project", u"p.launch"_s);
        row("a footer row", u"f.settings"_s);
    }
    void theSelectionDrawsAsSelected() {
        QFETCH(QString, id);
        Panel panel(signedIn());
        QVERIFY(QTest::qWaitForWindowExposed(panel.view.get()));
        QVERIFY(panel.select(id));
        const QRect area = panel.view->areaOf(id);
        QVERIFY(panel.card().contains(area));
        const QImage selected = panel.look(area);
        panel.model().clearSelection();
        QVERIFY2(panel.look(area) != selected, "the selection is not drawn");
        QVERIFY(panel.select(id));
        QVERIFY(panel.look(area) == selected);
    }

    void theSelectionScrollsIntoView_data() {
        QTest::addColumn<int>("delta"); // moves from nothing selected
        QTest::addColumn<QString>("id");
        row("↑ from nothing reaches the last row, at the bottom", -1, u"f.quit"_s);
        row("↑ twice, the row above it", -2, u"f.settings"_s);
        row("a to-do deep in the list", -20, u"todo.research.196.done"_s);
        row("↓ from the bottom back to the top", 0, u"rec"_s);
    }
    void theSelectionScrollsIntoView() {
        QFETCH(int, delta);
        QFETCH(QString, id);
        Panel panel(crowded(200));
        QVERIFY(QTest::qWaitForWindowExposed(panel.view.get()));
        QCOMPARE(panel.view->size().height(), PopoverView::maxHeight + 2 * OVCard::shadowMargin);
        if (delta == 0) {
            panel.model().move(-1); // to the bottom first
            panel.model().clearSelection();
            delta = 1;
        }
        for (int i = 0; i < std::abs(delta); ++i)
            panel.model().move(delta > 0 ? 1 : -1);
        QCOMPARE(panel.model().selected(), id);
        QVERIFY2(panel.card().contains(panel.view->areaOf(id)), qPrintable(id));
    }

    void theHeightIsReportedAndCapped_data() {
        QTest::addColumn<In>("inputs");
        QTest::addColumn<bool>("scrolls");
        row("signed out, the panel fits its content", In{}, false);
        row("signed in with a few to-dos, it fits", basic(), false);
        row("with the work day and cards as well, it scrolls", signedIn(), true);
        row("200 to-dos scroll inside a card at the cap", crowded(200), true);
    }
    void theHeightIsReportedAndCapped() {
        QFETCH(In, inputs);
        QFETCH(bool, scrolls);
        Panel panel(inputs);
        QVERIFY(QTest::qWaitForWindowExposed(panel.view.get()));
        const int wanted = panel.view->contentHeight();
        QCOMPARE(wanted > PopoverView::maxHeight, scrolls);
        QCOMPARE(panel.view->size().height(),
                 std::min(wanted, PopoverView::maxHeight) + 2 * OVCard::shadowMargin);
        // Nothing is squeezed or cut: the last row stands whole inside the card once scrolled to.
        panel.model().move(-1);
        QVERIFY(panel.card().contains(panel.view->areaOf(u"f.quit"_s)));

        // Folding Up next says the new height once, and the panel follows it.
        QSignalSpy heights(panel.view.get(), &PopoverView::contentHeightChanged);
        panel.model().setUpNextOpen(false);
        if (inputs.todos.items.isEmpty()) {
            QCOMPARE(heights.size(), 0);
            return;
        }
        QCOMPARE(heights.size(), 1);
        const int folded = heights.first().first().toInt();
        QVERIFY(folded < wanted);
        QCOMPARE(folded, panel.view->contentHeight());
        QCOMPARE(panel.view->size().height(),
                 std::min(folded, PopoverView::maxHeight) + 2 * OVCard::shadowMargin);
        QVERIFY(panel.view->areaOf(u"todo.launch.1"_s).isEmpty());
    }

    // The panel is rebuilt in place: what the new state lacks is gone, what it gains acts.
    void aRebuildShowsTheNewStateOnly_data() {
        QTest::addColumn<In>("before");
        QTest::addColumn<In>("after");
        QTest::addColumn<QStringList>("gone");
        QTest::addColumn<QString>("clicked"); // in the new state
        In fewer = signedIn();
        fewer.queuedPins = 0;
        fewer.todos.items.removeFirst();
        fewer.projects.removeLast();
        row("a card, a to-do and the project list go", signedIn(), fewer,
            QStringList{u"a.pins.send"_s, u"todo.launch.1"_s, u"p.launch"_s}, u"w.s1.0"_s);
        In more = basic();
        more.reviews = {{u"c9"_s, u"Weekly sync"_s, {u"Call the printer"_s}}};
        more.todos.items.append(
            {u"7"_s, u"New"_s, u"Todo"_s, std::nullopt, std::nullopt, u"research"_s, u"Research"_s});
        row("a card and a to-do come", basic(), more, QStringList{}, u"r.c9.0"_s);
        In recording = more;
        recording.rec = Rec::Recording{5, 0, 0, true};
        In saving = more;
        saving.rec = Rec::Saving{};
        row("a recording that ends leaves the main button without an action", recording, saving,
            QStringList{u"rec"_s}, u"todo.research.7.done"_s);
    }
    void aRebuildShowsTheNewStateOnly() {
        QFETCH(In, before);
        QFETCH(const In, after);
        QFETCH(QStringList, gone);
        QFETCH(QString, clicked);
        Panel panel(before);
        QVERIFY(QTest::qWaitForWindowExposed(panel.view.get()));
        if (!gone.isEmpty()) QVERIFY(panel.select(gone.first()));
        panel.load(after);
        QVERIFY(!panel.model().selected()); // the selected id went with its row
        for (const QString& id : gone)
            QVERIFY2(panel.view->areaOf(id).isEmpty(), qPrintable(id));
        QVERIFY(panel.select(clicked));
        const QRect area = panel.view->areaOf(clicked);
        QWidget* target = panel.view->childAt(area.center());
        QVERIFY(target);
        QTest::mouseClick(target, Qt::LeftButton, {}, target->mapFrom(panel.view.get(), area.center()));
        QCOMPARE(panel.log.last(), clicked);
    }

    void longTextsDoNotWidenThePanel_data() {
        QTest::addColumn<In>("inputs");
        QTest::addColumn<QString>("id"); // a control whose text is long
        const QString words = u"a long title "_s.repeated(385), letters(5000, u'w');
        In card = signedIn();
        card.questions[0].title = letters;
        card.questions[0].reason = words;
        row("a card's title of one 5,000-letter word and a detail of many words", card, u"w.s1.0"_s);
        In choice = signedIn();
        choice.questions[0].choices[1] = letters;
        row("a choice of 5,000 letters", choice, u"w.s1.1"_s);
        In todo = signedIn();
        todo.todos.items[0].title = words;
        todo.todos.items[0].topic = letters;
        row("a to-do's title and meta", todo, u"todo.launch.1.done"_s);
        In names = signedIn();
        names.account.name = letters;
        names.projects[1].name = letters;
        names.upload = {In::Upload::Kind::busy, words, {}, std::nullopt};
        row("the account's and a project's name, an upload's text", names, u"p.research"_s);
    }
    void longTextsDoNotWidenThePanel() {
        QFETCH(In, inputs);
        QFETCH(QString, id);
        Panel panel(inputs);
        QVERIFY(QTest::qWaitForWindowExposed(panel.view.get()));
        QCOMPARE(panel.view->size().width(), PopoverView::width + 2 * OVCard::shadowMargin);
        const QRect area = panel.view->areaOf(id);
        QVERIFY(!area.isEmpty());
        QVERIFY2(area.right() < panel.card().right(), "the control is pushed out of the card");
        // A few lines at most: the panel stays about as tall as with short texts.
        QVERIFY(panel.view->contentHeight() < Panel(signedIn()).view->contentHeight() + 120);
    }
};

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen"); // widgets without a screen
    QApplication app(argc, argv);
    TestPopoverView test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_popover_view.moc"
