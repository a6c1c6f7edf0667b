#include "app/Account.h"

#include "core/Log.h"
#include "recording/Session.h"
#include "server/Platform.h"
#include "server/Settings.h"
#include "surfaces/Browser.h"
#include "surfaces/Nudges.h"

#include <QPointer>

namespace {
QString projectList(const QList<Workspace>& projects) {
    QStringList parts;
    for (const Workspace& p : projects)
        parts.append(
            QStringLiteral("%1(%2)").arg(p.slug.value_or(p.name), p.seat.value_or(QStringLiteral("-"))));
    return parts.join(QLatin1Char(','));
}
} // namespace

Account::Account(Needs needs, QObject* parent)
    : QObject(parent), m_settings(needs.settings), m_nudges(needs.nudges),
      m_signIn([&browser = needs.browser](const QUrl& url) { return browser.open(url); }) {
    connect(&m_signIn, &SignIn::phaseChanged, this, &Account::showSignInPhase);
    const QPointer<Account> self(this);
    m_signIn.onSignedIn = [self] {
        if (self) self->signedIn();
    };
}

void Account::refreshAccount(std::function<void()> then) {
    if (m_settings.signedIn()) {
        refreshPlatformAccount(m_settings.platformBase(), m_settings.accountKey(), std::move(then));
        return;
    }
    const std::optional<Workspace> home = m_settings.home();
    const std::optional<API> api = m_settings.api(home);
    if (!home || !api) {
        if (then) then();
        return;
    }
    refreshLegacyName(*home, *api, std::move(then));
}

void Account::refreshed(const std::function<void()>& then) {
    emit changed();
    if (then) then();
}

QCoro::Task<> Account::refreshPlatformAccount(QString base, QString key, std::function<void()> then) {
    const QPointer<Account> self(this);
    std::optional<Platform::Account> account;
    std::optional<APIError> failure;
    try {
        auto asking = Platform::me(m_settings.network(), base, key);
        account = co_await std::move(asking);
    } catch (const APIError& e) {
        failure = e;
    }
    if (!self) co_return;
    if (account) {
        m_settings.apply(account->first, account->second);
        slog(QStringLiteral("me: %1, projects %2").arg(account->first.email, projectList(account->second)));
    } else if (failure->status == 401) {
        // The key and the cached projects stay: signing out is the user's decision.
        m_settings.setAccountError(
            QStringLiteral("the sign-in is no longer valid \u2014 sign out and sign in again"));
        slog(QStringLiteral("me: 401, key no longer valid"));
    } else {
        m_settings.setAccountError(QStringLiteral("couldn\u2019t load your projects: ") +
                                   failure->errorDescription());
        slog(QStringLiteral("me failed: ") + failure->errorDescription());
    }
    refreshed(then);
}

QCoro::Task<> Account::refreshLegacyName(Workspace home, API api, std::function<void()> then) {
    const QPointer<Account> self(this);
    std::optional<QString> name;
    std::optional<APIError> failure;
    try {
        auto asking = api.me();
        name = co_await std::move(asking);
    } catch (const APIError& e) {
        failure = e;
    }
    if (!self) co_return;
    if (name) {
        m_settings.setName(home, *name);
        slog(QStringLiteral("me @ %1: %2").arg(home.name, *name));
    } else {
        slog(QStringLiteral("me @ %1 failed: %2").arg(home.name, failure->errorDescription()));
    }
    refreshed(then);
}

void Account::signedIn() {
    emit accountSignedIn();
    const QPointer<Account> self(this);
    refreshAccount([self] {
        if (!self) return;
        emit self->todosWanted();
        // Recordings that waited for the sign-in go now, when there is somewhere to send them.
        const qsizetype count = Session::pending().size();
        if (count >= 1 && !self->m_settings.connected().isEmpty()) {
            slog(QStringLiteral("sign-in: %1 recording(s) waiting on this computer -> upload").arg(count));
            emit self->uploadsWanted();
        }
    });
}

void Account::startSignIn() {
    emit settingsWanted();
    if (!m_settings.signedIn()) m_signIn.begin(m_settings);
    emit changed();
}

void Account::signOut() {
    if (m_signIn.busy()) m_signIn.cancel();
    m_settings.signOut();
    slog(QStringLiteral("signed out"));
    emit accountSignedOut();
    emit todosWanted();
    emit changed();
}

void Account::showSignInPhase() {
    // The settings window shows every phase in full; a failure also comes as a nudge, since the window may
    // have been closed while the code waited for the approval.
    if (const auto* failed = std::get_if<SignIn::Failed>(&m_signIn.phase())) {
        slog(QStringLiteral("sign-in failed: ") + failed->message);
        m_nudges.show({.kind = QStringLiteral("signIn"),
                       .priority = 2,
                       .title = QStringLiteral("Sign-in didn\u2019t work"),
                       .message = failed->message,
                       .buttons = {{QStringLiteral("OK"), true, [] {}}}});
    } else {
        m_nudges.dismiss(QStringLiteral("signIn"));
    }
    emit changed();
}
