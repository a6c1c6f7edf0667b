// Keeping the local picture of the account in step with the server.
#include "app/AppDelegate.h"

#include "app/Services.h"
#include "core/Log.h"
#include "recording/Session.h"
#include "server/Platform.h"
#include "server/SignIn.h"
#include "surfaces/Nudges.h"

#include <QPointer>

namespace {
QString projectList(const QList<Workspace>& projects) {
    QStringList parts;
    for (const Workspace& p : projects)
        parts.append(QStringLiteral("%1(%2)").arg(p.slug.value_or(p.name), p.seat.value_or(QStringLiteral("-"))));
    return parts.join(QLatin1Char(','));
}
} // namespace

void AppDelegate::refreshAccount(std::function<void()> then) {
    Settings& settings = *m_services.settings;
    if (settings.signedIn()) {
        refreshPlatformAccount(settings.platformBase(), settings.accountKey(), std::move(then));
        return;
    }
    const std::optional<Workspace> home = settings.home();
    const std::optional<API> api = settings.api(home);
    if (!home || !api) {
        if (then)
            then();
        return;
    }
    refreshLegacyName(*home, *api, std::move(then));
}

QCoro::Task<> AppDelegate::refreshPlatformAccount(QString base, QString key, std::function<void()> then) {
    const QPointer<AppDelegate> self(this);
    std::optional<Platform::Account> account;
    std::optional<APIError> failure;
    try {
        account = co_await Platform::me(base, key);
    } catch (const APIError& e) {
        failure = e;
    }
    if (!self)
        co_return;
    Settings& settings = *self->m_services.settings;
    if (account) {
        settings.apply(account->first, account->second);
        slog(QStringLiteral("me: %1, projects %2").arg(account->first.email, projectList(account->second)));
    } else if (failure->status == 401) {
        // The key and the cached projects stay: signing out is the user's decision.
        settings.setAccountError(QStringLiteral("the sign-in is no longer valid \u2014 sign out and sign in again"));
        slog(QStringLiteral("me: 401, key no longer valid"));
    } else {
        settings.setAccountError(QStringLiteral("couldn\u2019t load your projects: ") + failure->errorDescription());
        slog(QStringLiteral("me failed: ") + failure->errorDescription());
    }
    if (then)
        then();
}

QCoro::Task<> AppDelegate::refreshLegacyName(Workspace home, API api, std::function<void()> then) {
    const QPointer<AppDelegate> self(this);
    std::optional<QString> name;
    std::optional<APIError> failure;
    try {
        name = co_await api.me();
    } catch (const APIError& e) {
        failure = e;
    }
    if (!self)
        co_return;
    if (name) {
        self->m_services.settings->setName(home, *name);
        slog(QStringLiteral("me @ %1: %2").arg(home.name, *name));
    } else {
        slog(QStringLiteral("me @ %1 failed: %2").arg(home.name, failure->errorDescription()));
    }
    if (then)
        then();
}

void AppDelegate::signedIn() {
    const QPointer<AppDelegate> self(this);
    refreshAccount([self] {
        if (!self)
            return;
        // Recordings that waited for the sign-in go now, when there is somewhere to send them.
        const qsizetype count = Session::pending().size();
        if (count >= 1 && !self->m_services.settings->connected().isEmpty()) {
            slog(QStringLiteral("sign-in: %1 recording(s) waiting on this computer -> upload").arg(count));
            self->retryUploads();
        }
    });
}

void AppDelegate::showSignInPhase() {
    // The settings window shows the sign-in in full; until it is open the code stands in a nudge and the log.
    if (const auto* waiting = std::get_if<SignIn::Waiting>(&m_signIn->phase())) {
        m_services.nudges->show({QStringLiteral("signIn"),
                        2,
                        QStringLiteral("/"),
                        QStringLiteral("Sign in with code %1").arg(waiting->code),
                        QStringLiteral("Approve this code on the page that opened in your browser."),
                        {{QStringLiteral("Cancel"), false, [this] { m_signIn->cancel(); }},
                         {QStringLiteral("Open the page again"), true, [this] { m_signIn->reopen(); }}},
                        false,
                        std::nullopt,
                        {}});
    } else if (const auto* failed = std::get_if<SignIn::Failed>(&m_signIn->phase())) {
        slog(QStringLiteral("sign-in failed: ") + failed->message);
        m_services.nudges->show({QStringLiteral("signIn"), 2, QStringLiteral("/"), QStringLiteral("Sign-in didn\u2019t work"),
                        failed->message, {{QStringLiteral("OK"), true, [] {}}}, false, std::nullopt, {}});
    } else {
        m_services.nudges->dismiss(QStringLiteral("signIn"));
    }
}

void AppDelegate::startSignIn() {
    if (!m_services.settings->signedIn())
        m_signIn->begin(*m_services.settings);
}
