#include "app/PanelPreviews.h"

#include "surfaces/menu/MenuBuilder.h"
#include "surfaces/menu/MenuModel.h"
#include "surfaces/popover/PopoverView.h"

#include <QBoxLayout>
#include <QSettings>
#include <QTemporaryDir>

namespace Previews {
namespace {

using In = MenuInputs;

// A panel on a model of its own, with actions that do nothing and a selection walked to `selected`.
class PanelPicture : public QWidget {
public:
    PanelPicture(const In& inputs, bool upNextOpen, const std::optional<QString>& selected)
        : m_store(m_dir.filePath(QStringLiteral("orvane.conf")), QSettings::IniFormat), m_model(m_store) {
        m_model.setUpNextOpen(upNextOpen);
        const BuiltMenu built = MenuBuilder::build(inputs);
        m_model.begin();
        for (const MenuAction& action : built.actions)
            m_model.act(action.id, [] {});
        m_model.commit(built.state);
        auto* view = new PopoverView(m_model);
        view->setSnapshot(true);
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(view, 0, Qt::AlignLeft);
        // Shown, so that the scroll area lays the content out before the selection scrolls it into view.
        setAttribute(Qt::WA_DontShowOnScreen);
        show();
        for (int step = 0; selected && m_model.selected() != selected && step < 1000; ++step)
            m_model.move(1);
    }

private:
    QTemporaryDir m_dir;
    QSettings m_store;
    MenuModel m_model;
};

In signedIn() {
    In in;
    in.account = {true, QStringLiteral("Ada Lovelace"), QStringLiteral("ada@example.com"), std::nullopt};
    in.platformBase = QStringLiteral("https://orvane.app");
    in.projects = {{QStringLiteral("launch"), QStringLiteral("Launch plan"),
                    QStringLiteral("https://orvane.app"), QStringLiteral("Owner")},
                   {QStringLiteral("research"), QStringLiteral("Research"),
                    QStringLiteral("https://orvane.app"), std::nullopt}};
    in.voiceKeyOK = true;
    in.todos.haveSource = true;
    in.todos.loaded = true;
    in.todos.startedStatuses = {QStringLiteral("in progress")};
    in.todos.items = {
        {QStringLiteral("1"), QStringLiteral("Call the printer about the launch posters"),
         QStringLiteral("In progress"), QStringLiteral("Launch"), QStringLiteral("S"),
         QStringLiteral("launch"), QStringLiteral("Launch plan")},
        {QStringLiteral("2"), QStringLiteral("Draft the pricing page"), QStringLiteral("Todo"), std::nullopt,
         QStringLiteral("M"), QStringLiteral("launch"), QStringLiteral("Launch plan")},
        {QStringLiteral("3"), QStringLiteral("Read the interview notes"), QString(), std::nullopt,
         std::nullopt, QStringLiteral("research"), QStringLiteral("Research")},
    };
    in.workday = In::Workday{11'400, std::nullopt, false, false};
    in.endOfDay = true;
    return in;
}

In withCards(In in) {
    in.queuedPins = 2;
    in.upload = {In::Upload::Kind::failed, QStringLiteral("Weekly sync"),
                 QStringLiteral("The server did not answer (timed out)."), std::nullopt};
    in.questions = {
        {QStringLiteral("s1"),
         QStringLiteral("Design review with the agency"),
         QStringLiteral("Mentions the launch plan twice."),
         {QStringLiteral("Launch plan"), QStringLiteral("Personal"), QStringLiteral("Somewhere else\u2026")},
         0}};
    in.reviews = {{QStringLiteral("c9"),
                   QStringLiteral("Weekly sync"),
                   {QStringLiteral("Call the printer"), QStringLiteral("Ask who owns the rollout")}}};
    in.lastFiled = In::LastFiled{QStringLiteral("Standup"), QStringLiteral("Launch plan")};
    return in;
}

// Enough to-dos and cards that the panel scrolls.
In crowded() {
    In in = withCards(signedIn());
    const QList<In::Todo> few = in.todos.items;
    for (int i = 0; i < 30; ++i) {
        In::Todo todo = few[i % few.size()];
        todo.id = QString::number(100 + i);
        todo.title += QStringLiteral(" (%1)").arg(i + 1);
        in.todos.items.append(todo);
    }
    return in;
}

In recording(Rec::State rec) {
    In in = signedIn();
    in.rec = rec;
    return in;
}

} // namespace

std::vector<PanelSample> panelSamples() {
    const auto panel = [](In in, bool open = true, std::optional<QString> selected = std::nullopt) {
        return [in = std::move(in), open, selected] { return new PanelPicture(in, open, selected); };
    };
    In signingIn;
    signingIn.signInCode = QStringLiteral("WXYZ-1234");
    In longTitles = signedIn();
    longTitles.questions = {{QStringLiteral("s2"),
                             QString(5000, QLatin1Char('w')),
                             QString(5000, QLatin1Char('r')),
                             {QString(300, QLatin1Char('p')), QStringLiteral("Personal")},
                             0}};
    longTitles.todos.items[1].title = QStringLiteral("A very long to-do ").repeated(300);
    longTitles.account.name = QString(5000, QLatin1Char('n'));
    return {
        {QStringLiteral("signed-out"), panel(In{})},
        {QStringLiteral("signing-in"), panel(signingIn)},
        {QStringLiteral("cards"), panel(withCards(signedIn()))},
        {QStringLiteral("upnext-open"), panel(signedIn())},
        {QStringLiteral("upnext-folded"), panel(signedIn(), false)},
        {QStringLiteral("rec-starting"), panel(recording(Rec::Starting{}))},
        {QStringLiteral("rec-recording"), panel(recording(Rec::Recording{754, 12, 3, true}))},
        {QStringLiteral("rec-no-mic"), panel(recording(Rec::Recording{3725, 40, 0, false}))},
        {QStringLiteral("rec-saving"), panel(recording(Rec::Saving{}))},
        {QStringLiteral("selection"),
         panel(withCards(signedIn()), true, QStringLiteral("todo.launch.2.start"))},
        {QStringLiteral("selection-rec"),
         panel(recording(Rec::Recording{754, 12, 3, true}), true, QStringLiteral("rec"))},
        {QStringLiteral("scrolled-top"), panel(crowded())},
        {QStringLiteral("scrolled-bottom"), panel(crowded(), true, QStringLiteral("f.settings"))},
        {QStringLiteral("long-titles"), panel(longTitles)},
    };
}

} // namespace Previews
