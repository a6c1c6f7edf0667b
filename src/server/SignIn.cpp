#include "server/SignIn.h"

#include "core/Log.h"
#include "core/Strings.h"
#include "server/API.h"
#include "server/Settings.h"

#include <QPointer>

SignIn::SignIn(std::function<bool(const QUrl&)> openBrowser, QObject* parent)
    : QObject(parent), m_openBrowser(std::move(openBrowser)) {}

SignIn::~SignIn() {
    if (m_cancelled) *m_cancelled = true;
}

bool SignIn::busy() const {
    return std::holds_alternative<Starting>(m_phase) || std::holds_alternative<Waiting>(m_phase) ||
           std::holds_alternative<Finishing>(m_phase);
}

std::optional<QString> SignIn::code() const {
    if (const auto* waiting = std::get_if<Waiting>(&m_phase)) return waiting->code;
    return std::nullopt;
}

void SignIn::enter(Phase phase) {
    m_phase = std::move(phase);
    emit phaseChanged();
}

void SignIn::begin(Settings& settings) {
    if (busy()) return;
    enter(Starting{});
    m_cancelled = std::make_shared<bool>(false);
    run(settings.platformBase(), &settings, m_cancelled);
}

void SignIn::reopen() {
    const auto* waiting = std::get_if<Waiting>(&m_phase);
    if (!waiting) return;
    Waiting again = *waiting;
    again.pageOpened = m_openBrowser(again.url);
    if (!(again == *waiting)) enter(again);
}

void SignIn::cancel() {
    if (m_cancelled) *m_cancelled = true;
    m_cancelled.reset();
    enter(Idle{});
}

void SignIn::preview(const Phase& phase) {
    enter(phase);
}

namespace {
QString unreachable(const QString& base, const QString& description) {
    return QStringLiteral("Couldn\u2019t reach %1: %2").arg(hostOf(base), description);
}
} // namespace

QCoro::Task<> SignIn::run(QString base, Settings* settings, CancelFlag cancelled) {
    const QPointer<SignIn> self(this);
    const QPointer<Settings> store(settings);
    std::optional<SignedInAccount> account;
    std::optional<QString> failure;
    try {
        // The call stays outside the co_await: GCC 12 destroys temporaries of a co_await expression twice,
        // which here released the QPointer's guard twice and corrupted the heap.
        auto flow = Platform::deviceFlow(
            settings->network(), base,
            [self](DeviceStart code) -> QCoro::Task<> {
                if (self) {
                    const bool opened = self->m_openBrowser(code.verifyURL);
                    self->enter(Waiting{code.userCode, code.verifyURL, opened});
                }
                co_return;
            },
            cancelled);
        account = co_await std::move(flow);
    } catch (const SignInCancelled&) {
        co_return;
    } catch (const SignInError& e) {
        failure = e.message;
    } catch (const APIError& e) {
        failure = unreachable(base, e.errorDescription());
    } catch (const std::exception& e) {
        // Any other failure must still end the flow, or the phase would stay busy and refuse every new begin.
        failure = unreachable(base, QString::fromLocal8Bit(e.what()));
    }
    if (!self || *cancelled) co_return;
    if (failure) {
        self->enter(Failed{*failure});
        co_return;
    }
    self->enter(Finishing{});
    if (store) store->signIn(account->key, account->email, account->name);
    slog(QStringLiteral("sign-in: signed in as ") + account->email);
    self->m_cancelled.reset();
    self->enter(Idle{});
    if (self->onSignedIn) self->onSignedIn();
}
