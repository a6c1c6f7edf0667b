#pragma once

#include "core/Workspace.h"
#include "server/SignIn.h"

#include <QList>
#include <QString>
#include <QWidget>
#include <functional>
#include <optional>

class Browser;
class QVBoxLayout;
class Settings;

// What the account part of the settings window says, from the settings and the sign-in's phase.
struct AccountFace {
    enum class State { signedIn, code, gettingCode, signedOut };
    State state = State::signedOut;
    QString title;
    QString code;                   // while a code shows
    QString text;                   // the server line, the steps of the approval, or the invitation
    std::optional<QString> address; // the approval page when no browser took it, to copy by hand
    std::optional<QString> problem; // a failed sign-in, or the account's error
    QList<Workspace> projects;
    bool operator==(const AccountFace&) const = default;

    static AccountFace of(const Settings& settings, const SignIn::Phase& phase);
};

// The account: who is signed in with the projects, the code of a sign-in under way, or the way to sign in.
// It follows the sign-in and the settings by itself, so an approval in the browser shows without a click.
class AccountSection : public QWidget {
    Q_OBJECT
public:
    struct Needs {
        Settings& settings;
        SignIn& signIn;
        Browser& browser;
        std::function<void()> onChange;
        std::function<void()> onSignOut;
        std::function<void()> refresh; // re-reads the account
    };
    explicit AccountSection(Needs needs, QWidget* parent = nullptr);

    const AccountFace& face() const { return m_face; }

private:
    void follow();
    void build();
    QWidget* button(const QString& title, bool primary, std::function<void()> pressed);

    Needs m_needs;
    AccountFace m_face;
    QVBoxLayout* m_layout = nullptr;
    QWidget* m_body = nullptr;
};
