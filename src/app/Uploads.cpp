#include "app/Uploads.h"

#include "app/Filing.h"
#include "app/QuotedTitle.h"
#include "app/UploadStatus.h"
#include "core/FiledRef.h"
#include "core/Log.h"
#include "core/Strings.h"
#include "recording/Session.h"
#include "recording/Uploader.h"
#include "server/Settings.h"
#include "surfaces/Notify.h"
#include "surfaces/Nudges.h"

#include <QCoroSignal>
#include <QFileInfo>
#include <QPointer>

using namespace std::chrono_literals;

namespace {

// The menu's line while a session is on its way.
QString busyTitle(const QString& title) {
    return shortened(title, 40);
}

QString describe(const std::exception& e) {
    if (const auto* api = dynamic_cast<const APIError*>(&e)) return api->errorDescription();
    return QString::fromUtf8(e.what());
}

} // namespace

Uploads::Uploads(Needs needs, QObject* parent)
    : QObject(parent), m_settings(needs.settings), m_nudges(needs.nudges), m_notify(needs.notify),
      m_status(needs.status), m_filing(needs.filing), m_now(std::move(needs.now)) {
    connect(this, &Uploads::uploadEnded, this, &Uploads::continueRetries);
    connect(&m_filing, &Filing::routed, this, &Uploads::continueRetries);
}

QString Uploads::Target::name() const {
    if (personal) return QStringLiteral("Personal");
    return ws ? ws->name : QString();
}

std::optional<QString> Uploads::Target::dest() const {
    if (personal) return FiledRef::personal;
    return ws ? ws->slug : std::nullopt;
}

void Uploads::uploadSession(std::shared_ptr<Session> session) {
    if (m_uploading.contains(session->dir)) return;
    SessionMeta& meta = session->meta;
    if (meta.personal.value_or(false)) {
        uploadPersonal(std::move(session), false);
        return;
    }
    const std::optional<Workspace> ws = m_settings.workspace(meta.workspaceID);
    if (!ws && meta.routeDone.value_or(false) &&
        (m_settings.signedIn() || !m_settings.connected().isEmpty())) {
        slog(QStringLiteral("upload: %1 was for a target that is no longer listed -> asking again")
                 .arg(meta.title));
        meta.routeDone.reset();
        meta.routed.reset();
        session->save();
        m_filing.finish(std::move(session));
        return;
    }
    if (const std::optional<API> api = m_settings.api(ws)) {
        start(std::move(session), *api, {ws, false}, false);
    } else if (m_settings.signedIn()) {
        m_status.set(UploadState::Failed{
            meta.title,
            QStringLiteral("no project to send it to \u2014 choose Personal or another project")});
        slog(QStringLiteral("upload waiting: signed in, project not available (%1)").arg(meta.title));
    } else {
        signInNudge(*session);
    }
}

void Uploads::uploadPersonal(std::shared_ptr<Session> session, bool quiet) {
    const std::optional<API> api = m_settings.personalAPI();
    if (!api) {
        signInNudge(*session);
        return;
    }
    start(std::move(session), *api, {std::nullopt, true}, quiet);
}

void Uploads::start(std::shared_ptr<Session> session, API api, Target target, bool quiet) {
    m_uploading.insert(session->dir);
    m_status.set(UploadState::Busy{busyTitle(session->meta.title)});
    send(std::move(session), std::move(api), std::move(target), quiet);
}

QCoro::Task<std::optional<QString>> Uploads::selfName(const Target& target, const API& api) {
    if (target.personal) co_return m_settings.accountName();
    const QPointer<Uploads> self(this);
    if (target.ws && !m_settings.hasName(*target.ws)) {
        // Who the user is on this server names their side of the call; without it the upload goes on.
        try {
            auto asking = api.me();
            const QString name = co_await std::move(asking);
            if (self && !name.isEmpty()) m_settings.setName(*target.ws, name);
        } catch (const APIError&) {
        }
        if (!self) co_return std::nullopt;
    }
    co_return m_settings.myName(target.ws);
}

QCoro::Task<> Uploads::send(std::shared_ptr<Session> session, API api, Target target, bool quiet) {
    const QPointer<Uploads> self(this);
    const QString title = session->meta.title;
    const QString dir = session->dir;
    const std::optional<Routed> routed = session->meta.routed;
    // The uploader may report from another thread: the state is the main thread's.
    const auto progress = [self](const QString& text) {
        if (Uploads* u = self.data())
            QMetaObject::invokeMethod(
                u, [u, text] { u->m_status.set(UploadState::Busy{text}); }, Qt::QueuedConnection);
    };
    std::optional<QString> id;
    std::optional<QString> failure;
    bool personalClosed = false;
    try {
        auto naming = selfName(target, api);
        const std::optional<QString> name = co_await std::move(naming);
        if (!self) co_return;
        auto sending = Uploader::upload(session, api, name, {true, false, progress});
        id = co_await std::move(sending);
    } catch (const APIError& e) {
        personalClosed = target.personal && e.status == 404;
        failure = e.errorDescription();
    } catch (const std::exception& e) {
        failure = describe(e);
    }
    if (!self) co_return;
    m_uploading.remove(dir);

    const QString where = target.name();
    if (personalClosed) {
        keepForPersonal(*session, quiet);
    } else if (failure) {
        m_status.set(UploadState::Failed{title, *failure});
        slog(QStringLiteral("upload failed %1%2: %3")
                 .arg(title, target.personal ? QStringLiteral(" (Personal)") : QString(), *failure));
    } else {
        const std::optional<QString> dest = target.dest();
        const std::optional<QUrl> link =
            target.personal ? m_settings.link(FiledRef::personal, *id)
            : target.ws     ? target.ws->link(QStringLiteral("library/call/") + urlComponent(*id))
                            : std::nullopt;
        m_status.set(
            UploadState::Saved{target.personal ? title + QStringLiteral(" \u00b7 Personal") : title, link});
        m_notify.saved(*id, title, where.isEmpty() ? QStringLiteral("Orvane") : where, link,
                       QFileInfo(dir).fileName());
        QString line = QStringLiteral("uploaded %1 -> %2 @ %3")
                           .arg(title, *id, where.isEmpty() ? QStringLiteral("?") : where);
        if (routed && !target.personal)
            line += QStringLiteral(" (score %1%, auto %2)")
                        .arg(RouteResult{Workspace{}, routed->score, {}}.percent())
                        .arg(routed->isAuto ? QStringLiteral("true") : QStringLiteral("false"));
        slog(line);
        if (dest) m_settings.setLastFiled(FiledRef{*id, title, *dest, m_now()});
        emit uploaded(*id, api, link, dest, title);
    }
    emit uploadEnded(dir);
}

void Uploads::keepForPersonal(Session& session, bool quiet) {
    // Personal isn't open on the server yet: the recording waits here and never goes to a project instead.
    const QString title = session.meta.title;
    session.meta.waitingPersonal = true;
    session.meta.lastError = QStringLiteral("waiting \u2014 Personal opens soon");
    session.save();
    m_status.set(UploadState::Idle{});
    slog(QStringLiteral("personal: 404, %1 kept on this computer (Personal opens soon)").arg(title));
    if (!quiet)
        m_nudges.show(
            {.kind = QStringLiteral("personalSoon"),
             .priority = 1,
             .title = QStringLiteral("Kept on this computer \u2014 Personal opens soon"),
             .message = quotedTitle(title) + QStringLiteral(" stays private here and goes up to Personal "
                                                            "by itself once it opens."),
             .timeout = 8s});
}

void Uploads::signInNudge(const Session& session) {
    const QString title = session.meta.title;
    m_status.set(
        UploadState::Failed{title, QStringLiteral("not signed in \u2014 Sign in to Orvane to send it")});
    slog(QStringLiteral("upload waiting: not signed in (%1)").arg(title));
    const QPointer<Uploads> self(this);
    m_nudges.show(
        {.kind = QStringLiteral("upload"),
         .priority = 3,
         .title = QStringLiteral("Sign in to send it"),
         .message = quotedTitle(title) + QStringLiteral(" is saved on this computer, not sent yet. It "
                                                        "uploads as soon as you are signed in."),
         .buttons = {{QStringLiteral("Later"), false, [] {}}, {QStringLiteral("Sign in"), true, [self] {
                                                                   if (self) emit self->signInWanted();
                                                               }}}});
}

void Uploads::retryUploads() {
    QList<std::shared_ptr<Session>> candidates;
    for (const std::shared_ptr<Session>& s : Session::pending())
        if (!m_uploading.contains(s->dir) && !m_filing.deciding(s->dir) &&
            !s->meta.waitingPersonal.value_or(false))
            candidates.append(s);
    m_retrying = candidates.size() >= 2;
    if (candidates.isEmpty()) return;
    m_filing.finish(candidates.first());
    // A session that is asked about starts nothing: the chain looks once the present events are handled.
    if (m_retrying) QMetaObject::invokeMethod(this, &Uploads::continueRetries, Qt::QueuedConnection);
}

void Uploads::continueRetries() {
    if (!m_retrying || !m_uploading.isEmpty() || m_filing.routing()) return;
    m_retrying = false;
    // A failure means the server is in trouble, and the user sees why: the rest waits for the next try.
    if (!std::holds_alternative<UploadState::Failed>(m_status.state())) retryUploads();
}

void Uploads::retryPersonal(bool force) {
    if (!m_settings.signedIn()) return;
    const QDateTime now = m_now();
    if (!force && m_lastPersonalTry.isValid() && m_lastPersonalTry.secsTo(now) <= 1800) return;
    m_lastPersonalTry = now;
    QList<std::shared_ptr<Session>> waiting;
    for (const std::shared_ptr<Session>& s : Session::pending())
        if (s->meta.waitingPersonal.value_or(false) && !m_uploading.contains(s->dir)) waiting.append(s);
    if (!waiting.isEmpty()) retryPersonalTask(waiting, !force);
}

QCoro::Task<> Uploads::retryPersonalTask(QList<std::shared_ptr<Session>> waiting, bool quiet) {
    const QPointer<Uploads> self(this);
    // The first is the probe: one request tells whether Personal has opened.
    const QString probe = waiting.first()->dir;
    uploadPersonal(waiting.first(), quiet);
    auto probing = whenNotUploading(probe);
    co_await std::move(probing);
    if (!self) co_return;
    if (const std::shared_ptr<Session> reloaded = Session::load(probe);
        reloaded && reloaded->meta.waitingPersonal.value_or(false))
        co_return;
    for (qsizetype i = 1; i < waiting.size(); ++i) {
        auto free = whenNotUploading(waiting[i]->dir);
        co_await std::move(free);
        if (!self) co_return;
        uploadPersonal(waiting[i], quiet);
    }
}

QCoro::Task<> Uploads::whenNotUploading(QString dir) {
    while (m_uploading.contains(dir)) {
        auto ended = qCoro(this, &Uploads::uploadEnded);
        co_await std::move(ended);
    }
}
