#include "surfaces/menu/MenuBuilder.h"

#include "core/Fmt.h"
#include "core/Strings.h"

namespace {

using Verb = MenuAction::Verb;
using In = MenuInputs;

// The rows and the table of their actions, built together so that the actions stand in the rows' order.
class Builder {
public:
    explicit Builder(const In& in) : m_in(in) {}

    BuiltMenu build() && {
        header();
        record();
        m_out.state.openBoard = act(QStringLiteral("board.open"), Verb::openBoard);
        quickRow();
        cards();
        upNext();
        workday();
        projects();
        footer();
        return std::move(m_out);
    }

private:
    QString act(const QString& id, Verb verb, const QString& arg = {}, int index = -1) {
        m_out.actions.append({id, verb, arg, index});
        return id;
    }
    MBtn button(const QString& id, const QString& title, Verb verb, bool primary = false,
                const QString& arg = {}, int index = -1) {
        return {act(id, verb, arg, index), title, primary, std::nullopt};
    }

    void header() {
        MenuState& s = m_out.state;
        if (m_in.account.signedIn) {
            s.name = m_in.account.name.value_or(m_in.account.email.value_or(QStringLiteral("You")));
            const auto count = m_in.projects.size();
            s.sub = count == 0   ? QStringLiteral("No project yet")
                    : count == 1 ? m_in.projects.first().name
                                 : QStringLiteral("%1 projects").arg(count);
            s.status = QStringLiteral("\u25CF connected \u00B7 ") + hostOf(m_in.platformBase);
            if (!m_in.todos.items.isEmpty())
                s.status += QStringLiteral(" \u00B7 %1 up next").arg(m_in.todos.items.size());
            s.statusTone = m_in.account.error ? Tone::amber : Tone::accent;
        } else if (m_in.signInCode) {
            s.name = QStringLiteral("Signing in\u2026");
            s.sub = QStringLiteral("code ") + *m_in.signInCode;
            s.status = QStringLiteral("approve the code in your browser");
        } else if (m_in.legacy) {
            s.name = m_in.legacy->myName.value_or(QStringLiteral("Orvane"));
            s.sub = m_in.legacy->workspace + QStringLiteral(" (legacy server)");
            s.status = QStringLiteral("\u25CF legacy server");
            s.statusTone = Tone::silver;
        } else {
            s.name = QStringLiteral("Orvane");
            s.sub = QStringLiteral("Not signed in");
            s.status = QStringLiteral("\u25CB sign in to send sessions");
        }
    }

    void record() {
        m_out.state.rec = m_in.rec;
        if (std::holds_alternative<Rec::Recording>(m_in.rec))
            m_out.state.recID = act(QStringLiteral("rec"), Verb::wrapUp);
        else if (std::holds_alternative<Rec::Idle>(m_in.rec))
            m_out.state.recID = act(QStringLiteral("rec"), Verb::record);
    }

    void quickRow() {
        // The pin button stays while a region is being picked, and does nothing.
        m_out.state.quick = {m_in.pinning
                                 ? MBtn{QStringLiteral("q.pin.off"), QStringLiteral("Add pin"), false, {}}
                                 : button(QStringLiteral("q.pin"), QStringLiteral("Add pin"), Verb::addPin),
                             button(QStringLiteral("q.voice"), QStringLiteral("Voice"), Verb::voiceClick)};
        m_out.state.quick[0].kbd = QStringLiteral("Ctrl+Alt+P");
        m_out.state.quick[1].kbd =
            m_in.voiceKeyOK ? QStringLiteral("hold Ctrl+Alt+Space") : QStringLiteral("click");
    }

    void card(Attn attn) { m_out.state.attention.append(std::move(attn)); }

    void cards() {
        const bool signedIn = m_in.account.signedIn;
        if (m_in.signInCode)
            card({.id = QStringLiteral("a.code"),
                  .tag = QStringLiteral("Signing in\u2026"),
                  .title = QStringLiteral("Approve %1 in the browser").arg(*m_in.signInCode),
                  .buttons = {
                      button(QStringLiteral("a.code.show"), QStringLiteral("Show"), Verb::showSettings)}});
        else if (!signedIn)
            card({.id = QStringLiteral("a.signin"),
                  .tag = QStringLiteral("Account"),
                  .title = QStringLiteral("Sign in to Orvane"),
                  .detail = QStringLiteral("Email code in the browser \u2014 no keys to paste."),
                  .buttons = {
                      button(QStringLiteral("a.signin.go"), QStringLiteral("Sign in"), Verb::signIn, true)}});
        if (signedIn && m_in.projects.isEmpty())
            card({.id = QStringLiteral("a.newproject"),
                  .tag = QStringLiteral("Projects"),
                  .title = QStringLiteral("Create or join a project"),
                  .buttons = {button(QStringLiteral("a.newproject.open"), QStringLiteral("Open Orvane"),
                                     Verb::openStart)}});
        if (m_in.account.error)
            card({.id = QStringLiteral("a.err"),
                  .tag = QStringLiteral("Account"),
                  .title = *m_in.account.error});
        if (m_in.queuedPins > 0)
            card({.id = QStringLiteral("a.pins"),
                  .tag = QStringLiteral("Pins"),
                  .title =
                      QStringLiteral("%1 pin%2 waiting").arg(m_in.queuedPins).arg(plural(m_in.queuedPins)),
                  .detail = QStringLiteral("Send them as one session; Orvane asks where it goes."),
                  .buttons = {
                      button(QStringLiteral("a.pins.send"), QStringLiteral("Send\u2026"), Verb::sendPins)}});
        uploadCard();
        for (const In::Question& q : m_in.questions) {
            const QString id = QStringLiteral("w.") + q.session;
            Attn attn{.id = id,
                      .tag = QStringLiteral("Where does this go?"),
                      .title = shortened(q.title, 50),
                      .detail = q.reason,
                      .stacked = true};
            for (int i = 0; i < q.choices.size(); ++i)
                attn.buttons.append(button(id + QStringLiteral(".%1").arg(i), q.choices[i], Verb::answerWhere,
                                           i == q.suggested, q.session, i));
            card(std::move(attn));
        }
        if (m_in.keptForPersonal > 0)
            card({.id = QStringLiteral("a.soon"),
                  .tag = QStringLiteral("Personal opens soon"),
                  .title = QStringLiteral("%1 kept on this computer, private").arg(m_in.keptForPersonal),
                  .detail = QStringLiteral("They go up to Personal by themselves once it opens."),
                  .buttons = {
                      button(QStringLiteral("a.soon.try"), QStringLiteral("Try now"), Verb::tryPersonal)}});
        if (m_in.failedSessions > 0)
            card({.id = QStringLiteral("a.retry"),
                  .tag = QStringLiteral("Saved on this computer"),
                  .title = QStringLiteral("%1 session%2 not sent yet")
                               .arg(m_in.failedSessions)
                               .arg(plural(m_in.failedSessions)),
                  .buttons = {button(QStringLiteral("a.retry.go"), QStringLiteral("Retry upload"),
                                     Verb::retryUploads)}});
        for (const In::Review& r : m_in.reviews) {
            const QString id = QStringLiteral("r.") + r.id;
            const auto n = r.suggestions.size();
            Attn attn{.id = id,
                      .tag = QStringLiteral("Review ready"),
                      .title = shortened(r.title, 60),
                      .stacked = true};
            if (n > 0)
                attn.detail =
                    QStringLiteral("%1 suggestion%2 \u2014 each asks where it goes").arg(n).arg(plural(n));
            attn.buttons.append(button(id, QStringLiteral("Open review"), Verb::openReview, true, r.id));
            for (int i = 0; i < n; ++i)
                attn.buttons.append(
                    button(id + QStringLiteral(".%1").arg(i),
                           QStringLiteral("Add \u201c%1\u201d\u2026").arg(shortened(r.suggestions[i], 40)),
                           Verb::addSuggestion, false, r.id, i));
            card(std::move(attn));
        }
        if (signedIn && m_in.lastFiled)
            card({.id = QStringLiteral("a.move"),
                  .tag = QStringLiteral("Last session"),
                  .title = QStringLiteral("\u201c%1\u201d is in %2")
                               .arg(shortened(m_in.lastFiled->title, 40), m_in.lastFiled->destination),
                  .buttons = {
                      button(QStringLiteral("a.move.go"), QStringLiteral("Move\u2026"), Verb::moveLast)}});
    }

    void uploadCard() {
        const In::Upload& up = m_in.upload;
        const QString id = QStringLiteral("a.up");
        switch (up.kind) {
        case In::Upload::Kind::idle:
            return;
        case In::Upload::Kind::busy:
            return card({.id = id, .tag = QStringLiteral("Uploading"), .title = up.text});
        case In::Upload::Kind::failed:
            return card({.id = id,
                         .tag = QStringLiteral("Saved on this computer"),
                         .title = shortened(up.text, 60),
                         .detail = shortened(up.detail, 60)});
        case In::Upload::Kind::saved: {
            Attn attn{.id = id, .tag = QStringLiteral("Saved"), .title = up.text};
            if (up.link) {
                attn.open = act(QStringLiteral("a.up.open"), Verb::openLibrary, up.link->toString());
                attn.buttons = {{*attn.open, QStringLiteral("Open in Library"), false, {}}};
            }
            return card(std::move(attn));
        }
        }
    }

    void upNext() {
        MenuState& s = m_out.state;
        const In::Todos& todos = m_in.todos;
        s.upNextCount = int(todos.items.size());
        s.upNextToggle = act(QStringLiteral("upnext.toggle"), Verb::toggleUpNext);
        if (!todos.haveSource)
            s.upNextNote = m_in.account.signedIn ? QStringLiteral("No project yet")
                                                 : QStringLiteral("Sign in to Orvane first");
        else if (todos.needsUpdate)
            s.upNextNote = todos.lacking.size() > 1 ? QStringLiteral("These projects need an update")
                                                    : QStringLiteral("Workspace needs an update");
        else if (todos.items.isEmpty() && todos.loadError)
            s.upNextNote = QStringLiteral("Couldn\u2019t load: ") + shortened(*todos.loadError, 50);
        else if (todos.items.isEmpty() && !todos.loaded)
            s.upNextNote = QStringLiteral("Loading\u2026");
        else if (todos.items.isEmpty())
            s.upNextNote = QStringLiteral("Nothing up next");
        if (todos.haveSource && !todos.needsUpdate && !todos.lacking.isEmpty())
            s.upNextNote = QStringLiteral("Needs an update: ") + todos.lacking.join(QStringLiteral(", "));

        for (int index = 0; index < todos.items.size(); ++index) {
            const In::Todo& todo = todos.items[index];
            auto group = std::find_if(s.groups.begin(), s.groups.end(),
                                      [&](const Group& g) { return g.name == todo.workspaceName; });
            if (group == s.groups.end())
                group = s.groups.insert(s.groups.end(), Group{todo.workspaceName, {}});
            const QString id =
                QStringLiteral("todo.%1.%2").arg(todo.workspaceID.value_or(QStringLiteral("-")), todo.id);
            TodoRow row{.id = act(id, Verb::openTodo, todo.workspaceID.value_or(QString()), index)};
            row.title = todo.title;
            row.busy = todos.startedStatuses.contains(todo.status.toLower());
            QStringList meta;
            for (const QString& part :
                 {todo.topic.value_or(QString()), todo.effort.value_or(QString()), todo.status})
                if (!part.isEmpty()) meta << part;
            if (!meta.isEmpty()) row.meta = meta.join(QStringLiteral(" \u00B7 "));
            if (!row.busy) row.start = act(id + QStringLiteral(".start"), Verb::startTodo, todo.id, index);
            row.done = act(id + QStringLiteral(".done"), Verb::doneTodo, todo.id, index);
            group->items.append(std::move(row));
        }
    }

    void workday() {
        if (!m_in.workday) return;
        const In::Workday& wd = *m_in.workday;
        WorkdayLine line{QStringLiteral("Today %1 tracked").arg(Fmt::duration(wd.trackedSeconds)),
                         std::nullopt};
        if (wd.paused && wd.pausedUntil)
            line.line += QStringLiteral(" \u00B7 paused until ") + *wd.pausedUntil;
        if (wd.syncNeedsUpdate) line.line += QStringLiteral(" \u00B7 sync needs an update");
        if (wd.frontmostUnknown)
            line.line += QStringLiteral("\nThis desktop doesn\u2019t tell Orvane which app is in front");
        line.button =
            button(QStringLiteral("wd.toggle"),
                   wd.paused ? QStringLiteral("Resume") : QStringLiteral("Pause 1 h"), Verb::toggleWorkday);
        m_out.state.workday = std::move(line);
    }

    void projects() {
        if (m_in.projects.size() > 1 || m_in.projectMode)
            for (const In::Project& p : m_in.projects)
                m_out.state.projects.append({act(QStringLiteral("p.") + p.id, Verb::openProject, p.id),
                                             p.name.isEmpty() ? p.base : p.name, p.seat});
        if (m_in.account.signedIn) m_out.state.newProject = act(QStringLiteral("p.new"), Verb::newProject);
    }

    void footer() {
        auto row = [this](const QString& id, const QString& title, Verb verb, const QString& symbol,
                          std::optional<QString> kbd = std::nullopt) {
            m_out.state.footer.append({{act(id, verb), title, false, std::move(kbd)}, symbol});
        };
        if (m_in.endOfDay)
            row(QStringLiteral("f.wrap"), QStringLiteral("End my day\u2026"), Verb::endDay,
                QStringLiteral("sun.haze"));
        row(QStringLiteral("f.guide"), QStringLiteral("How Orvane works"), Verb::guide,
            QStringLiteral("book"));
        row(QStringLiteral("f.settings"), QStringLiteral("Settings\u2026"), Verb::settings,
            QStringLiteral("gearshape"), QStringLiteral("Ctrl+,"));
        row(QStringLiteral("f.quit"), QStringLiteral("Quit Orvane"), Verb::quit, QStringLiteral("power"),
            QStringLiteral("Ctrl+Q"));
    }

    static QString plural(qsizetype n) { return n == 1 ? QString() : QStringLiteral("s"); }

    const In& m_in;
    BuiltMenu m_out;
};

} // namespace

BuiltMenu MenuBuilder::build(const MenuInputs& in) {
    return Builder(in).build();
}
