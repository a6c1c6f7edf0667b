// After a recording: which way a finished session goes, and the scoring that suggests where it belongs.
#include "app/AppDelegate.h"

#include "app/QuotedTitle.h"
#include "app/Services.h"
#include "core/Log.h"
#include "recording/Session.h"
#include "surfaces/Notify.h"
#include "surfaces/Nudges.h"

#include <QFileInfo>
#include <QPointer>

using namespace std::chrono_literals;

void AppDelegate::finish(std::shared_ptr<Session> session) {
    const Settings& settings = *m_services.settings;
    const QList<std::pair<Workspace, API>> connected = settings.connected();
    if (session->meta.routeDone.value_or(false)) {
        uploadSession(std::move(session));
    } else if (settings.signedIn() && !connected.isEmpty()) {
        m_routing.insert(session->dir);
        setUpload(UploadState::Busy{QStringLiteral("Where does it go?\u2026")});
        routeSession(std::move(session), connected);
    } else if (settings.signedIn()) {
        applyPersonal(std::move(session), QStringLiteral("no project yet"));
    } else if (!connected.isEmpty()) {
        // Legacy servers only: the user decides, and nothing is decided for them.
        m_routeScores.insert(session->dir, {});
        setUpload(UploadState::Idle{});
        askWhere(std::move(session));
    } else {
        uploadSession(std::move(session));
    }
}

QCoro::Task<> AppDelegate::routeSession(std::shared_ptr<Session> session,
                                        QList<std::pair<Workspace, API>> connected) {
    const QPointer<AppDelegate> self(this);
    const SessionMeta& meta = session->meta;
    auto scoring = Router::scoreAll(connected, meta.title, meta.app, meta.participants, Router::text(meta));
    const QList<RouteResult> scores = co_await std::move(scoring);
    if (!self)
        co_return;
    m_routing.remove(session->dir);
    const Suggestion suggestion =
        Router::suggest(scores, meta.isCall(), m_services.settings->autoFileTeamCalls());

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
        m_services.nudges->show(
            {QStringLiteral("filed"),
             1,
             QStringLiteral("/"),
             QStringLiteral("Filed in ") + project.ws.name,
             quotedTitle(title) +
                 QStringLiteral(" \u00b7 %1. Move it from the menu if that\u2019s wrong.").arg(suggestion.reason),
             {},
             false,
             8s,
             {}});
        co_return;
    }
    m_routeScores.insert(session->dir, scores);
    m_routeSuggest.insert(session->dir, suggestion);
    setUpload(UploadState::Idle{});
    askWhere(session);
    scheduleDefaultDecision(session->dir);
}

void AppDelegate::scheduleDefaultDecision(const QString& dir) {
    const double seconds = askSeconds();
    // Not cancelled by a decision: applying one takes the session out of routeScores, which disarms this.
    QTimer::singleShot(std::chrono::milliseconds(qint64(seconds * 1000)), this, [this, dir, seconds] {
        if (!m_routeScores.contains(dir))
            return;
        const std::shared_ptr<Session> session = Session::load(dir);
        if (!session || session->meta.routeDone.value_or(false))
            return;
        slog(QStringLiteral("where %1: no choice in %2 s -> Personal").arg(session->meta.title).arg(seconds));
        m_services.notify->filedPersonal(session->meta.title, QFileInfo(dir).fileName());
        applyPersonal(session, QStringLiteral("no choice in 2 min"));
    });
}
