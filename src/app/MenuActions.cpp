#include "app/AppDelegate.h"
#include "app/Services.h"
#include "board/window/Board.h"
#include "core/Log.h"
#include "recording/Session.h"
#include "voice/PinQueue.h"
#include "workday/WorkdayTracker.h"

// What each row of the tray panel does: the builder names the action, the flows that own it act.

namespace {
constexpr auto pauseLength = std::chrono::hours(1);
} // namespace

void AppDelegate::bindMenu(const BuiltMenu& built) {
    m_menu.begin();
    for (const MenuAction& action : built.actions)
        if (std::function<void()> run = menuAction(action)) m_menu.act(action.id, std::move(run));
    m_menu.commit(built.state);
}

std::function<void()> AppDelegate::menuAction(const MenuAction& a) {
    using Verb = MenuAction::Verb;
    Services& s = m_services;
    const auto open = [this](QUrl url) { return [this, url] { m_pages.open(url); }; };
    const auto onPlatform = [&s, open](const QString& path) {
        return open(QUrl(s.settings->platformBase() + path));
    };
    switch (a.verb) {
    case Verb::record:
    case Verb::wrapUp:
        return [this] { m_tuneIn.toggleRecording(); };
    case Verb::openBoard:
        return [this] { m_board->openFromMenu(); };
    case Verb::addPin:
        return [this] { m_pinning.addPin(); };
    case Verb::voiceClick:
        return [this] { m_voice.click(); };
    case Verb::showSettings:
    case Verb::settings:
        return [this] { openSettings(); };
    case Verb::signIn:
        return [this] {
            openSettings();
            m_account.startSignIn();
        };
    case Verb::openStart:
    case Verb::newProject:
        return onPlatform(QStringLiteral("/app/start"));
    case Verb::guide:
        return onPlatform(QStringLiteral("/guide"));
    case Verb::sendPins:
        return [this] {
            if (std::shared_ptr<Session> session = m_pins->toSession(std::nullopt))
                m_filing.finish(std::move(session));
            rebuildMenu();
        };
    case Verb::openLibrary:
        return open(QUrl(a.arg));
    case Verb::answerWhere:
        return [this, folder = a.arg, index = a.index] {
            for (const QString& dir : m_filing.openQuestions()) {
                if (dir.section(QLatin1Char('/'), -1) != folder) continue;
                const std::shared_ptr<Session> session = Session::load(dir);
                if (!session) return;
                const QList<Filing::Choice> choices = m_filing.whereChoices(*session);
                if (index >= 0 && index < choices.size()) m_filing.choose(*session, choices[index]);
                return;
            }
        };
    case Verb::tryPersonal:
        return [this] { m_uploads.retryPersonal(true); };
    case Verb::retryUploads:
        return [this] { m_uploads.retryUploads(); };
    case Verb::openReview:
        return [this, id = a.arg] { m_reviews.openReview(id); };
    case Verb::moveLast:
        return [this] { m_filing.askMove(); };
    case Verb::toggleUpNext:
        return [this] { m_menu.setUpNextOpen(!m_menu.upNextOpen()); };
    case Verb::toggleWorkday:
        return [this] {
            const std::optional<QDateTime>& until = m_tracker->pausedUntil();
            const bool paused = until && *until > m_services.now();
            m_tracker->setPausedUntil(
                paused ? std::nullopt
                       : std::optional(m_services.now().addSecs(std::chrono::seconds(pauseLength).count())));
            rebuildMenu();
        };
    case Verb::openProject:
        return [this, &s, id = a.arg] {
            for (const Workspace& p : s.settings->projects())
                if (p.id.toString(QUuid::WithoutBraces) == id)
                    if (const std::optional<QUrl> board = p.link(QStringLiteral("board")))
                        m_board->open(*board);
        };
    case Verb::endDay:
        return [this] { wrapUp(); };
    case Verb::quit:
        return [this] { requestQuit(); };
    case Verb::addSuggestion:
        return [this, id = a.arg, index = a.index] {
            for (const Reviews::ReviewWatch& w : m_reviews.reviews()) {
                if (w.id != id || index < 0 || index >= w.suggestions.size()) continue;
                const Reviews::OpenSuggestion& suggestion = w.suggestions[index];
                m_cards.askCard(suggestion.title, suggestion.why, w.dest,
                                Cards::FromReview{w.id, suggestion.i, w.api, w.dest});
                return;
            }
        };
    // The panel is built from the store a moment before its actions are bound: the index is the row's to-do.
    case Verb::openTodo:
        return [this, todo = m_todos.store().items().value(a.index)] {
            if (const std::optional<QUrl> board =
                    todo.ws ? todo.ws->link(QStringLiteral("board")) : std::nullopt)
                m_board->open(*board);
            else
                m_board->openFromMenu();
        };
    case Verb::startTodo:
    case Verb::doneTodo:
        return [this, todo = m_todos.store().items().value(a.index), start = a.verb == Verb::startTodo] {
            m_todos.todoAction(todo, start);
        };
    }
    return {};
}
