// Sending decided sessions to their destination, and picking up what was left.
#include "app/AppDelegate.h"

#include "app/QuotedTitle.h"
#include "app/Services.h"
#include "core/Log.h"
#include "core/Strings.h"
#include "recording/Session.h"
#include "recording/Uploader.h"
#include "surfaces/Notify.h"
#include "surfaces/Nudges.h"

#include <QCoroTimer>
#include <QFileInfo>
#include <QPointer>

using namespace std::chrono_literals;

namespace {

QString folderName(const Session& session) {
    return QFileInfo(session.dir).fileName();
}
// The menu's line while a session is on its way.
QString busyTitle(const QString& title) {
    return Notify::shortened(title, 40);
}

QString describe(const std::exception& e) {
    if (const auto* api = dynamic_cast<const APIError*>(&e))
        return api->errorDescription();
    return QString::fromUtf8(e.what());
}

} // namespace

void AppDelegate::setUpload(UploadState::State state) {
    m_upload = std::move(state);
    rebuildMenu();
}

std::function<void(const QString&)> AppDelegate::progressToMenu() {
    const QPointer<AppDelegate> self(this);
    // The uploader may report from another thread: the state is the main thread's.
    return [self](const QString& text) {
        if (AppDelegate* d = self.data())
            QMetaObject::invokeMethod(
                d, [d, text] { d->setUpload(UploadState::Busy{text}); }, Qt::QueuedConnection);
    };
}

void AppDelegate::uploadSession(std::shared_ptr<Session> session) {
    if (m_uploading.contains(session->dir))
        return;
    SessionMeta& meta = session->meta;
    if (meta.personal.value_or(false)) {
        uploadPersonal(std::move(session), false);
        return;
    }
    const Settings& settings = *m_services.settings;
    const std::optional<Workspace> ws = settings.workspace(meta.workspaceID);
    if (!ws && meta.routeDone.value_or(false) && (settings.signedIn() || !settings.connected().isEmpty())) {
        slog(QStringLiteral("upload: %1 was for a target that is no longer listed -> asking again")
                 .arg(meta.title));
        meta.routeDone.reset();
        meta.routed.reset();
        session->save();
        finish(std::move(session));
        return;
    }
    if (const std::optional<API> api = settings.api(ws)) {
        m_uploading.insert(session->dir);
        setUpload(UploadState::Busy{busyTitle(meta.title)});
        sendSession(std::move(session), ws, *api);
    } else if (settings.signedIn()) {
        setUpload(UploadState::Failed{
            meta.title,
            QStringLiteral("no project to send it to \u2014 choose Personal or another project")});
        slog(QStringLiteral("upload waiting: signed in, project not available (%1)").arg(meta.title));
    } else {
        signInNudge(*session);
    }
}

QCoro::Task<> AppDelegate::sendSession(std::shared_ptr<Session> session, std::optional<Workspace> ws,
                                       API api) {
    const QPointer<AppDelegate> self(this);
    const QString title = session->meta.title;
    const std::optional<Routed> routed = session->meta.routed;
    if (ws && !m_services.settings->hasName(*ws)) {
        // Who the user is on this server names their side of the call; without it the upload goes on.
        try {
            const QString name = co_await api.me();
            if (self && !name.isEmpty())
                m_services.settings->setName(*ws, name);
        } catch (const APIError&) {
        }
        if (!self)
            co_return;
    }
    const std::optional<QString> selfName = m_services.settings->myName(ws);
    std::optional<QString> id;
    std::optional<QString> failure;
    try {
        auto sending = Uploader::upload(session, api, selfName, {true, false, progressToMenu()});
        id = co_await std::move(sending);
    } catch (const std::exception& e) {
        failure = describe(e);
    }
    if (!self)
        co_return;
    m_uploading.remove(session->dir);
    if (failure) {
        setUpload(UploadState::Failed{title, *failure});
        slog(QStringLiteral("upload failed %1: %2").arg(title, *failure));
        co_return;
    }
    const std::optional<QUrl> link =
        ws ? ws->link(QStringLiteral("library/call/") + urlComponent(*id)) : std::nullopt;
    setUpload(UploadState::Saved{title, link});
    m_services.notify->saved(*id, title, ws ? ws->name : QStringLiteral("Orvane"), link,
                             folderName(*session));
    QString line =
        QStringLiteral("uploaded %1 -> %2 @ %3").arg(title, *id, ws ? ws->name : QStringLiteral("?"));
    if (routed)
        line += QStringLiteral(" (score %1%, auto %2)")
                    .arg(RouteResult{Workspace{}, routed->score, {}}.percent())
                    .arg(routed->isAuto ? QStringLiteral("true") : QStringLiteral("false"));
    slog(line);
    if (ws && ws->slug)
        m_services.settings->setLastFiled(FiledRef{*id, title, *ws->slug, QDateTime::currentDateTimeUtc()});
    watchReview(*id, api, link, ws ? ws->slug : std::nullopt, title);
}

void AppDelegate::uploadPersonal(std::shared_ptr<Session> session, bool quiet) {
    const std::optional<API> api = m_services.settings->personalAPI();
    if (!api) {
        signInNudge(*session);
        return;
    }
    m_uploading.insert(session->dir);
    setUpload(UploadState::Busy{busyTitle(session->meta.title)});
    sendPersonal(std::move(session), *api, quiet);
}

QCoro::Task<> AppDelegate::sendPersonal(std::shared_ptr<Session> session, API api, bool quiet) {
    const QPointer<AppDelegate> self(this);
    const QString title = session->meta.title;
    std::optional<QString> id;
    std::optional<QString> failure;
    bool closed = false;
    try {
        auto sending = Uploader::upload(session, api, m_services.settings->accountName(),
                                        {true, false, progressToMenu()});
        id = co_await std::move(sending);
    } catch (const APIError& e) {
        closed = e.status == 404;
        failure = e.errorDescription();
    } catch (const std::exception& e) {
        failure = describe(e);
    }
    if (!self)
        co_return;
    m_uploading.remove(session->dir);
    if (closed) {
        // Personal isn't open on the server yet: the recording waits here and never goes to a project
        // instead.
        session->meta.waitingPersonal = true;
        session->meta.lastError = QStringLiteral("waiting \u2014 Personal opens soon");
        session->save();
        setUpload(UploadState::Idle{});
        slog(QStringLiteral("personal: 404, %1 kept on this computer (Personal opens soon)").arg(title));
        if (!quiet)
            m_services.nudges->show(
                {QStringLiteral("personalSoon"),
                 1,
                 QStringLiteral("/"),
                 QStringLiteral("Kept on this computer \u2014 Personal opens soon"),
                 quotedTitle(title) +
                     QStringLiteral(" stays private here and goes up to Personal by itself once it opens."),
                 {},
                 false,
                 8s,
                 {}});
        co_return;
    }
    if (failure) {
        setUpload(UploadState::Failed{title, *failure});
        slog(QStringLiteral("upload failed %1 (Personal): %2").arg(title, *failure));
        co_return;
    }
    const std::optional<QUrl> link = m_services.settings->link(FiledRef::personal, *id);
    setUpload(UploadState::Saved{title + QStringLiteral(" \u00b7 Personal"), link});
    m_services.notify->saved(*id, title, QStringLiteral("Personal"), link, folderName(*session));
    slog(QStringLiteral("uploaded %1 -> %2 @ Personal").arg(title, *id));
    m_services.settings->setLastFiled(
        FiledRef{*id, title, FiledRef::personal, QDateTime::currentDateTimeUtc()});
    watchReview(*id, api, link, FiledRef::personal, title);
}

void AppDelegate::signInNudge(const Session& session) {
    const QString title = session.meta.title;
    setUpload(
        UploadState::Failed{title, QStringLiteral("not signed in \u2014 Sign in to Orvane to send it")});
    slog(QStringLiteral("upload waiting: not signed in (%1)").arg(title));
    const QPointer<AppDelegate> self(this);
    m_services.nudges->show(
        {QStringLiteral("upload"),
         3,
         QStringLiteral("/"),
         QStringLiteral("Sign in to send it"),
         quotedTitle(title) +
             QStringLiteral(
                 " is saved on this computer, not sent yet. It uploads as soon as you are signed in."),
         {{QStringLiteral("Later"), false, [] {}},
          {QStringLiteral("Sign in"), true,
           [self] {
               if (self)
                   self->startSignIn();
           }}},
         false,
         std::nullopt,
         {}});
}

void AppDelegate::retryUploads() {
    QList<std::shared_ptr<Session>> candidates;
    for (const std::shared_ptr<Session>& s : Session::pending()) {
        if (!m_uploading.contains(s->dir) && !m_routing.contains(s->dir) && !m_routeScores.contains(s->dir) &&
            !s->meta.waitingPersonal.value_or(false))
            candidates.append(s);
    }
    if (candidates.isEmpty())
        return;
    finish(candidates.first());
    if (candidates.size() >= 2)
        continueRetries();
}

QCoro::Task<> AppDelegate::continueRetries() {
    const QPointer<AppDelegate> self(this);
    do {
        co_await QCoro::sleepFor(500ms);
        if (!self)
            co_return;
    } while (!m_uploading.isEmpty() || !m_routing.isEmpty());
    // A failure means the server is in trouble, and the user sees why: the rest waits for the next try.
    if (!std::holds_alternative<UploadState::Failed>(m_upload))
        retryUploads();
}

void AppDelegate::retryPersonal(bool force) {
    if (!m_services.settings->signedIn())
        return;
    const QDateTime now = QDateTime::currentDateTimeUtc();
    if (!force && m_lastPersonalTry.isValid() && m_lastPersonalTry.secsTo(now) <= 1800)
        return;
    m_lastPersonalTry = now;
    QList<std::shared_ptr<Session>> waiting;
    for (const std::shared_ptr<Session>& s : Session::pending())
        if (s->meta.waitingPersonal.value_or(false) && !m_uploading.contains(s->dir))
            waiting.append(s);
    if (!waiting.isEmpty())
        retryPersonalTask(waiting, !force);
}

QCoro::Task<> AppDelegate::retryPersonalTask(QList<std::shared_ptr<Session>> waiting, bool quiet) {
    const QPointer<AppDelegate> self(this);
    // The first is the probe: one request tells whether Personal has opened.
    const QString probe = waiting.first()->dir;
    uploadPersonal(waiting.first(), quiet);
    co_await waitUntilNotUploading(probe);
    if (!self)
        co_return;
    if (const std::shared_ptr<Session> reloaded = Session::load(probe);
        reloaded && reloaded->meta.waitingPersonal.value_or(false))
        co_return;
    for (qsizetype i = 1; i < waiting.size(); ++i) {
        co_await waitUntilNotUploading(waiting[i]->dir);
        if (!self)
            co_return;
        uploadPersonal(waiting[i], quiet);
    }
}

QCoro::Task<> AppDelegate::waitUntilNotUploading(QString dir) {
    const QPointer<AppDelegate> self(this);
    while (self && m_uploading.contains(dir))
        co_await QCoro::sleepFor(300ms);
}
