#include "app/Filing.h"

#include "app/QuotedTitle.h"
#include "app/UploadStatus.h"
#include "core/Log.h"
#include "core/Strings.h"
#include "recording/Session.h"
#include "server/Settings.h"
#include "surfaces/Browser.h"
#include "surfaces/Notify.h"
#include "surfaces/Nudges.h"

#include <QFileInfo>
#include <QPointer>
#include <QTimer>
#include <algorithm>

using namespace std::chrono_literals;

Filing::Filing(Needs needs, QObject* parent)
    : QObject(parent), m_settings(needs.settings), m_nudges(needs.nudges), m_notify(needs.notify),
      m_browser(needs.browser), m_status(needs.status), m_now(std::move(needs.now)),
      m_askSeconds(needs.askSeconds) {}

void Filing::finish(std::shared_ptr<Session> session) {
    const QList<std::pair<Workspace, API>> connected = m_settings.connected();
    if (session->meta.routeDone.value_or(false)) {
        emit decided(std::move(session));
    } else if (m_settings.signedIn() && !connected.isEmpty()) {
        m_routing.insert(session->dir);
        m_status.set(UploadState::Busy{QStringLiteral("Where does it go?\u2026")});
        route(std::move(session), connected);
    } else if (m_settings.signedIn()) {
        applyPersonal(std::move(session), QStringLiteral("no project yet"));
    } else if (!connected.isEmpty()) {
        // Legacy servers only: the user decides, and nothing is decided for them.
        m_routeScores.insert(session->dir, {});
        m_status.set(UploadState::Idle{});
        askWhere(std::move(session));
    } else {
        // Nowhere to go yet: the upload asks for a sign-in.
        emit decided(std::move(session));
    }
}

QCoro::Task<> Filing::route(std::shared_ptr<Session> session, QList<std::pair<Workspace, API>> connected) {
    const QPointer<Filing> self(this);
    const SessionMeta& meta = session->meta;
    auto scoring = Router::scoreAll(connected, meta.title, meta.app, meta.participants, Router::text(meta));
    const QList<RouteResult> scores = co_await std::move(scoring);
    if (!self) co_return;
    m_routing.remove(session->dir);
    const Suggestion suggestion = Router::suggest(scores, meta.isCall(), m_settings.autoFileTeamCalls());

    QStringList scored;
    for (const RouteResult& r : scores)
        scored.append(QStringLiteral("%1 %2%").arg(r.ws.name).arg(r.percent()));
    slog(QStringLiteral("where %1 (%2): %3 -> suggest %4%5")
             .arg(meta.title, meta.isCall() ? QStringLiteral("call") : QStringLiteral("session"),
                  scored.isEmpty() ? QStringLiteral("no scores") : scored.join(QStringLiteral(", ")),
                  suggestion.label(),
                  suggestion.isAuto ? QStringLiteral(" (auto-file, opt-in)") : QString()));

    if (suggestion.isAuto && suggestion.project) {
        const RouteResult project = *suggestion.project;
        const QString title = meta.title;
        applyProject(session, project.ws, project, true);
        m_nudges.show({.kind = QStringLiteral("filed"),
                       .priority = 1,
                       .title = QStringLiteral("Filed in ") + project.ws.name,
                       .message = quotedTitle(title) +
                                  QStringLiteral(" \u00b7 %1. Move it from the menu if that\u2019s wrong.")
                                      .arg(suggestion.reason),
                       .timeout = 8s});
        emit routed(session->dir);
        co_return;
    }
    m_routeScores.insert(session->dir, scores);
    m_routeSuggest.insert(session->dir, suggestion);
    m_status.set(UploadState::Idle{});
    askWhere(session);
    scheduleDefaultDecision(session->dir);
    emit routed(session->dir);
}

void Filing::scheduleDefaultDecision(const QString& dir) {
    // Not cancelled by a decision: applying one takes the session out of routeScores, which disarms this.
    QTimer::singleShot(std::chrono::milliseconds(qint64(m_askSeconds * 1000)), this, [this, dir] {
        if (!m_routeScores.contains(dir)) return;
        const std::shared_ptr<Session> session = Session::load(dir);
        if (!session || session->meta.routeDone.value_or(false)) return;
        slog(QStringLiteral("where %1: no choice in %2 s -> Personal")
                 .arg(session->meta.title)
                 .arg(m_askSeconds));
        m_notify.filedPersonal(session->meta.title, QFileInfo(dir).fileName());
        applyPersonal(session, QStringLiteral("no choice in 2 min"));
    });
}

QList<Filing::Choice> Filing::whereChoices(const Session& session) const {
    const QList<RouteResult> scores = m_routeScores.value(session.dir);
    const auto found = m_routeSuggest.constFind(session.dir);
    const std::optional<Suggestion> suggestion =
        found == m_routeSuggest.constEnd() ? std::nullopt : std::optional<Suggestion>(*found);

    QList<Choice> choices;
    if (m_settings.signedIn())
        choices.append(
            {true, std::nullopt, QStringLiteral("Personal (private)"), suggestion && !suggestion->project});
    for (const RouteResult& r : scores) {
        const bool suggested = suggestion && suggestion->project && suggestion->project->ws.id == r.ws.id;
        choices.append(
            {false, r.ws, QStringLiteral("%1 \u00b7 %2%").arg(r.ws.name).arg(r.percent()), suggested});
    }
    for (const auto& [ws, api] : m_settings.connected()) {
        const bool scored =
            std::any_of(scores.begin(), scores.end(), [&](const RouteResult& r) { return r.ws.id == ws.id; });
        if (!scored) choices.append({false, ws, ws.name, false});
    }
    std::stable_partition(choices.begin(), choices.end(), [](const Choice& c) { return c.suggested; });
    return choices;
}

void Filing::askWhere(std::shared_ptr<Session> session) {
    const QList<Choice> choices = whereChoices(*session);
    if (choices.isEmpty()) return;
    QString message = quotedTitle(session->meta.title, 50);
    if (const auto found = m_routeSuggest.constFind(session->dir); found != m_routeSuggest.constEnd())
        message += QStringLiteral("\nSuggested: ") + found->label();
    if (m_settings.signedIn()) message += QStringLiteral("\nNo choice in 2 min \u2192 Personal.");

    const QPointer<Filing> self(this);
    std::vector<NudgeButton> buttons;
    for (const Choice& choice : choices)
        buttons.push_back({choice.label, choice.suggested, [self, session, choice] {
                               if (self) self->choose(*session, choice);
                           }});
    m_nudges.show({.kind = QStringLiteral("route"),
                   .priority = 3,
                   .title = QStringLiteral("Where does this go?"),
                   .message = message,
                   .buttons = std::move(buttons),
                   .stacked = true,
                   .timeout = std::chrono::milliseconds(qint64(m_askSeconds * 1000)),
                   // The nudge going away decides nothing: the question stays in the menu.
                   .onTimeout = [self] {
                       if (self) emit self->questionsChanged();
                   }});
    emit questionsChanged();
}

void Filing::choose(const Session& session, const Choice& choice) {
    const std::shared_ptr<Session> loaded = Session::load(session.dir);
    if (!loaded || loaded->meta.routeDone.value_or(false)) return;
    if (choice.personal) {
        applyPersonal(loaded, QStringLiteral("chosen"));
        return;
    }
    if (!choice.ws) return;
    const QList<RouteResult> scores = m_routeScores.value(session.dir);
    const auto scored = std::find_if(scores.begin(), scores.end(),
                                     [&](const RouteResult& r) { return r.ws.id == choice.ws->id; });
    applyProject(loaded, *choice.ws, scored != scores.end() ? *scored : RouteResult{*choice.ws, 0, {}},
                 false);
}

void Filing::applyPersonal(std::shared_ptr<Session> session, const QString& why) {
    SessionMeta& meta = session->meta;
    meta.workspaceID.reset();
    meta.personal = true;
    meta.routed = Routed{0, {why}, false};
    meta.routeDone = true;
    session->save();
    settle(std::move(session));
}

void Filing::applyProject(std::shared_ptr<Session> session, const Workspace& ws,
                          std::optional<RouteResult> result, bool isAuto) {
    SessionMeta& meta = session->meta;
    meta.workspaceID = ws.id;
    meta.personal.reset();
    meta.routed =
        result ? std::optional<Routed>(Routed{result->score, result->reasons, isAuto}) : std::nullopt;
    meta.routeDone = true;
    session->save();
    settle(std::move(session));
}

void Filing::settle(std::shared_ptr<Session> session) {
    m_routeScores.remove(session->dir);
    m_routeSuggest.remove(session->dir);
    m_nudges.dismiss(QStringLiteral("route"));
    emit decided(std::move(session));
    askNext();
    emit questionsChanged();
}

void Filing::askNext() {
    // Several finished sessions are asked one at a time: the next open question comes up now.
    for (const std::shared_ptr<Session>& s : Session::pending()) {
        if (m_routeScores.contains(s->dir) && !s->meta.routeDone.value_or(false)) {
            askWhere(s);
            return;
        }
    }
}

void Filing::askMove() {
    const std::optional<FiledRef> filed = m_settings.lastFiled();
    if (!filed) return;
    const QPointer<Filing> self(this);
    const auto moveTo = [self, filed = *filed](const QString& dest) {
        return [self, filed, dest] {
            if (self) self->move(filed, dest);
        };
    };
    std::vector<NudgeButton> buttons;
    if (filed->dest != FiledRef::personal)
        buttons.push_back({QStringLiteral("Personal (private)"), false, moveTo(FiledRef::personal)});
    for (const Workspace& p : m_settings.projects())
        if (p.slug && *p.slug != filed->dest) buttons.push_back({p.name, false, moveTo(*p.slug)});
    if (buttons.empty()) return;
    m_nudges.show(
        {.kind = QStringLiteral("move"),
         .priority = 3,
         .title = quotedTitle(filed->title, 40) + QLatin1Char('?'),
         .message = QStringLiteral("Now in %1. Moving to a project runs its notes step there; moving out "
                                   "removes the cards nobody touched.")
                        .arg(m_settings.destName(filed->dest)),
         .buttons = std::move(buttons),
         .stacked = true,
         .timeout = 60s});
}

void Filing::move(FiledRef filed, QString to) {
    const std::optional<API> api = m_settings.api(filed.dest);
    if (!api) return;
    sendMove(std::move(filed), std::move(to), *api);
}

QCoro::Task<> Filing::sendMove(FiledRef filed, QString to, API api) {
    const QPointer<Filing> self(this);
    std::optional<QJsonObject> reply;
    std::optional<APIError> failure;
    try {
        auto request = api.json("POST", QStringLiteral("/api/calls/%1/move").arg(urlComponent(filed.id)),
                                QJsonObject{{QStringLiteral("to"), to}});
        reply = co_await std::move(request);
    } catch (const APIError& e) {
        failure = e;
    }
    if (!self) co_return;
    if (failure) {
        const bool missing = failure->isMissing();
        m_nudges.show(
            {.kind = QStringLiteral("move"),
             .priority = 2,
             .title = missing ? QStringLiteral("Couldn\u2019t move it yet")
                              : QStringLiteral("Couldn\u2019t move it"),
             .message = missing
                            ? QStringLiteral("The server doesn\u2019t offer moving sessions yet (404). Try "
                                             "again later, or move it on the site.")
                            : failure->errorDescription(),
             .timeout = 8s});
        co_return;
    }
    const QString id =
        API::str(reply->value(QStringLiteral("id")))
            .value_or(API::str(reply->value(QStringLiteral("call")).toObject().value(QStringLiteral("id")))
                          .value_or(filed.id));
    const FiledRef now{id, filed.title, to, m_now()};
    m_settings.setLastFiled(now);
    slog(QStringLiteral("moved %1 %2 -> %3 (%4)").arg(filed.dest, filed.id, to, filed.title));

    std::vector<NudgeButton> buttons;
    if (const std::optional<QUrl> link = m_settings.link(to, id))
        buttons.push_back({QStringLiteral("Open"), true, [self, url = *link] {
                               if (self) self->m_browser.open(url);
                           }});
    m_nudges.show({.kind = QStringLiteral("move"),
                   .priority = 2,
                   .title = QStringLiteral("Moved to ") + m_settings.destName(to),
                   .message = quotedTitle(filed.title, 50),
                   .buttons = std::move(buttons),
                   .timeout = 8s});
    emit moved(now);
}
