#pragma once

#include <QObject>
#include <functional>

class Nudges;
class Settings;
class WindowBox;

// What a new user is told once on this computer: the welcome window at the first plain start; where the
// desktop shows no tray, how to get one; where it gives programs no global keys, that the settings show how
// to bind them. The settings show the welcome again.
class FirstRun : public QObject {
    Q_OBJECT
public:
    struct Needs {
        Settings& settings;
        Nudges& nudges;
        WindowBox& windows;
        std::function<bool()> trayShown;  // a tray hosts Orvane's icon
        std::function<void()> signIn;     // the way into the sign-in
        std::function<bool()> keysToBind; // the user binds the keys' commands to the desktop's shortcuts
    };
    explicit FirstRun(Needs needs, QObject* parent = nullptr);

    // The program has started; `plain`: as the user starts it, not in a mode that opens a window of its own.
    void launched(bool plain);
    void showWelcome();

signals:
    void settingsWanted();

private:
    void hintAtTray(bool keysWork);
    void hintAtKeys();

    Needs m_needs;
};
