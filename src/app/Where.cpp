// "Where does this go?": the choices, the question, applying the answer, and moving the last filed recording.
#include "app/AppDelegate.h"

#include "app/QuotedTitle.h"
#include "app/Services.h"
#include "core/Log.h"
#include "core/Strings.h"
#include "recording/Session.h"
#include "surfaces/Nudges.h"

#include <QPointer>
#include <algorithm>

using namespace std::chrono_literals;

double AppDelegate::askSeconds() {
    bool isNumber = false;
    const double seconds = qEnvironmentVariable("ORVANE_ASK_SECONDS").toDouble(&isNumber);
    return isNumber ? seconds : 120;
}

QList<AppDelegate::Choice> AppDelegate::whereChoices(const Session& session) const {
    const Settings& settings = *m_services.settings;
    const QList<RouteResult> scores = m_routeScores.value(session.dir);
    const auto found = m_routeSuggest.constFind(session.dir);
    const std::optional<Suggestion> suggestion =
        found == m_routeSuggest.constEnd() ? std::nullopt : std::optional<Suggestion>(*found);

    QList<Choice> choices;
    if (settings.signedIn())
        choices.append(
            {true, std::nullopt, QStringLiteral("Personal (private)"), suggestion && !suggestion->project});
    for (const RouteResult& r : scores) {
        const bool suggested = suggestion && suggestion->project && suggestion->project->ws.id == r.ws.id;
        choices.append(
            {false, r.ws, QStringLiteral("%1 \u00b7 %2%").arg(r.ws.name).arg(r.percent()), suggested});
    }
    for (const auto& [ws, api] : settings.connected()) {
        const bool scored =
            std::any_of(scores.begin(), scores.end(), [&](const RouteResult& r) { return r.ws.id == ws.id; });
        if (!scored)
            choices.append({false, ws, ws.name, false});
    }
    std::stable_partition(choices.begin(), choices.end(), [](const Choice& c) { return c.suggested; });
    return choices;
}

void AppDelegate::askWhere(std::shared_ptr<Session> session) {
    const QList<Choice> choices = whereChoices(*session);
    if (choices.isEmpty())
        return;
    QString message = quotedTitle(session->meta.title, 50);
    if (const auto found = m_routeSuggest.constFind(session->dir); found != m_routeSuggest.constEnd())
        message += QStringLiteral("\nSuggested: ") + found->label();
    if (m_services.settings->signedIn())
        message += QStringLiteral("\nNo choice in 2 min \u2192 Personal.");

    const QPointer<AppDelegate> self(this);
    std::vector<NudgeButton> buttons;
    for (const Choice& choice : choices)
        buttons.push_back({choice.label, choice.suggested, [self, session, choice] {
                               if (self)
                                   self->choose(*session, choice);
                           }});
    m_services.nudges->show({QStringLiteral("route"), 3, QStringLiteral("/"),
                             QStringLiteral("Where does this go?"), message, std::move(buttons), true,
                             std::chrono::milliseconds(qint64(askSeconds() * 1000)), [self] {
                                 // The nudge going away decides nothing: the question stays in the menu.
                                 if (self)
                                     self->rebuildMenu();
                             }});
    rebuildMenu();
}

void AppDelegate::choose(const Session& session, const Choice& choice) {
    const std::shared_ptr<Session> loaded = Session::load(session.dir);
    if (!loaded || loaded->meta.routeDone.value_or(false))
        return;
    if (choice.personal) {
        applyPersonal(loaded, QStringLiteral("chosen"));
        return;
    }
    if (!choice.ws)
        return;
    const QList<RouteResult> scores = m_routeScores.value(session.dir);
    const auto scored = std::find_if(scores.begin(), scores.end(),
                                     [&](const RouteResult& r) { return r.ws.id == choice.ws->id; });
    applyProject(loaded, *choice.ws, scored != scores.end() ? *scored : RouteResult{*choice.ws, 0, {}},
                 false);
}

void AppDelegate::applyPersonal(std::shared_ptr<Session> session, const QString& why) {
    SessionMeta& meta = session->meta;
    meta.workspaceID.reset();
    meta.personal = true;
    meta.routed = Routed{0, {why}, false};
    meta.routeDone = true;
    session->save();
    settle(std::move(session));
}

void AppDelegate::applyProject(std::shared_ptr<Session> session, const Workspace& ws,
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

void AppDelegate::settle(std::shared_ptr<Session> session) {
    m_routeScores.remove(session->dir);
    m_routeSuggest.remove(session->dir);
    m_services.nudges->dismiss(QStringLiteral("route"));
    uploadSession(std::move(session));
    decided();
}

void AppDelegate::decided() {
    // Several finished sessions are asked one at a time: the next open question comes up now.
    for (const std::shared_ptr<Session>& s : Session::pending()) {
        if (m_routeScores.contains(s->dir) && !s->meta.routeDone.value_or(false)) {
            askWhere(s);
            return;
        }
    }
}

void AppDelegate::askMove() {
    const Settings& settings = *m_services.settings;
    const std::optional<FiledRef> filed = settings.lastFiled();
    if (!filed)
        return;
    const QPointer<AppDelegate> self(this);
    const auto moveTo = [self, filed = *filed](const QString& dest) {
        return [self, filed, dest] {
            if (self)
                self->move(filed, dest);
        };
    };
    std::vector<NudgeButton> buttons;
    if (filed->dest != FiledRef::personal)
        buttons.push_back({QStringLiteral("Personal (private)"), false, moveTo(FiledRef::personal)});
    for (const Workspace& p : settings.projects())
        if (p.slug && *p.slug != filed->dest)
            buttons.push_back({p.name, false, moveTo(*p.slug)});
    if (buttons.empty())
        return;
    m_services.nudges->show(
        {QStringLiteral("move"),
         3,
         QStringLiteral("/"),
         quotedTitle(filed->title, 40) + QLatin1Char('?'),
         QStringLiteral(
             "Now in %1. Moving to a project runs its notes step there; moving out removes the cards "
             "nobody touched.")
             .arg(settings.destName(filed->dest)),
         std::move(buttons),
         true,
         60s,
         {}});
}

void AppDelegate::move(FiledRef filed, QString to) {
    const std::optional<API> api = m_services.settings->api(filed.dest);
    if (!api)
        return;
    sendMove(std::move(filed), std::move(to), *api);
}

QCoro::Task<> AppDelegate::sendMove(FiledRef filed, QString to, API api) {
    const QPointer<AppDelegate> self(this);
    std::optional<QJsonObject> reply;
    std::optional<APIError> failure;
    try {
        auto request = api.json("POST", QStringLiteral("/api/calls/%1/move").arg(urlComponent(filed.id)),
                                QJsonObject{{QStringLiteral("to"), to}});
        reply = co_await std::move(request);
    } catch (const APIError& e) {
        failure = e;
    }
    if (!self)
        co_return;
    if (failure) {
        const bool missing = failure->isMissing();
        m_services.nudges->show(
            {QStringLiteral("move"),
             2,
             QStringLiteral("/"),
             missing ? QStringLiteral("Couldn\u2019t move it yet") : QStringLiteral("Couldn\u2019t move it"),
             missing ? QStringLiteral(
                           "The server doesn\u2019t offer moving sessions yet (404). Try again later, or "
                           "move it on the site.")
                     : failure->errorDescription(),
             {},
             false,
             8s,
             {}});
        co_return;
    }
    Settings& settings = *m_services.settings;
    const QString id =
        API::str(reply->value(QStringLiteral("id")))
            .value_or(API::str(reply->value(QStringLiteral("call")).toObject().value(QStringLiteral("id")))
                          .value_or(filed.id));
    settings.setLastFiled(FiledRef{id, filed.title, to, QDateTime::currentDateTimeUtc()});
    slog(QStringLiteral("moved %1 %2 -> %3 (%4)").arg(filed.dest, filed.id, to, filed.title));

    std::vector<NudgeButton> buttons;
    if (const std::optional<QUrl> link = settings.link(to, id))
        buttons.push_back({QStringLiteral("Open"), true, [self, url = *link] {
                               if (self)
                                   self->m_services.browser->open(url);
                           }});
    m_services.nudges->show({QStringLiteral("move"),
                             2,
                             QStringLiteral("/"),
                             QStringLiteral("Moved to ") + settings.destName(to),
                             quotedTitle(filed.title, 50),
                             std::move(buttons),
                             false,
                             8s,
                             {}});
}
