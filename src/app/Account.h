#pragma once

#include "core/Workspace.h"
#include "server/API.h"
#include "server/SignIn.h"

#include <QCoroTask>
#include <QObject>
#include <functional>

class Browser;
class Nudges;
class Settings;

// Keeping the local picture of the account in step with the server, and the way into the sign-in.
class Account : public QObject {
    Q_OBJECT
public:
    struct Needs {
        Settings& settings;
        Nudges& nudges;
        // Where the approval page opens.
        Browser& browser;
    };
    explicit Account(Needs needs, QObject* parent = nullptr);

    // Fetches who the user is: the platform's account when signed in, else the name on the legacy home.
    // `then` runs afterwards, whatever the outcome.
    void refreshAccount(std::function<void()> then = {});
    // What follows a finished sign-in.
    void signedIn();
    // The menu's and nudges' way into the sign-in: the settings window, with a sign-in under way unless
    // signed in already.
    void startSignIn();
    // Ends a sign-in under way and forgets the account.
    void signOut();

    SignIn& signIn() { return m_signIn; }
    const SignIn& signIn() const { return m_signIn; }

signals:
    void changed();
    // The settings window is wanted in front, where the sign-in shows.
    void settingsWanted();
    // Recordings waited for the sign-in and now have somewhere to go.
    void uploadsWanted();
    // The account changed hands: the to-dos are someone else's.
    void todosWanted();
    // The web board follows the app's account: in with it, out with it.
    void accountSignedIn();
    void accountSignedOut();

private:
    QCoro::Task<> refreshPlatformAccount(QString base, QString key, std::function<void()> then);
    QCoro::Task<> refreshLegacyName(Workspace home, API api, std::function<void()> then);
    void refreshed(const std::function<void()>& then);
    void showSignInPhase();

    Settings& m_settings;
    Nudges& m_nudges; // a sign-in that fails while the window is closed still reaches the user
    SignIn m_signIn;
};
