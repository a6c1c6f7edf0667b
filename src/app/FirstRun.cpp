#include "app/FirstRun.h"

#include "core/Log.h"
#include "server/Settings.h"
#include "surfaces/Nudges.h"
#include "surfaces/WelcomeView.h"
#include "surfaces/WindowBox.h"

FirstRun::FirstRun(Needs needs, QObject* parent) : QObject(parent), m_needs(std::move(needs)) {}

void FirstRun::launched(bool plain) {
    Settings& settings = m_needs.settings;
    if (plain && !settings.welcomeShown()) {
        showWelcome();
        settings.setWelcomeShown(true);
    }
    const bool keysToBind = m_needs.keysToBind();
    if (!m_needs.trayShown() && !settings.trayHintShown()) {
        hintAtTray(!keysToBind);
        settings.setTrayHintShown(true);
    } else if (keysToBind && !settings.keysHintShown()) {
        // One card at a time: after the tray's, this one waits for the next start.
        hintAtKeys();
        settings.setKeysHintShown(true);
    }
}

void FirstRun::showWelcome() {
    slog(QStringLiteral("welcome: shown"));
    m_needs.windows.show(WelcomeView::windowKey, WelcomeView::title,
                         new WelcomeView({m_needs.settings.signedIn(), m_needs.signIn}));
}

// Stock GNOME has no tray: the AppIndicator extension gives it one.
void FirstRun::hintAtTray(bool keysWork) {
    slog(QStringLiteral("first run: no tray on this desktop, told the user how to get one"));
    const QString keys = keysWork
                             ? QStringLiteral(", and Ctrl+Alt+R, Ctrl+Alt+P and Ctrl+Alt+Space work from "
                                              "any window.")
                             : QStringLiteral(".");
    m_needs.nudges.show(
        {.kind = QStringLiteral("tray"),
         .priority = 1,
         .title = QStringLiteral("Orvane has no icon in this desktop\u2019s top bar"),
         .message = QStringLiteral("Your desktop shows no tray. On GNOME, turn on the AppIndicator extension "
                                   "(package gnome-shell-extension-appindicator) and Orvane\u2019s icon "
                                   "appears. Until then the panel is a window of its own") +
                    keys,
         .buttons = {{QStringLiteral("OK"), true, [] {}}}});
}

void FirstRun::hintAtKeys() {
    slog(QStringLiteral("first run: no global keys on this desktop, pointed the user to the settings"));
    m_needs.nudges.show(
        {.kind = QStringLiteral("keys"),
         .priority = 1,
         .title = QStringLiteral("Ctrl+Alt+R and Orvane\u2019s other keys need your desktop"),
         .message = QStringLiteral(
             "This desktop gives programs no global keys. Settings shows a command for each of "
             "Orvane\u2019s keys: bind them to shortcuts in the desktop\u2019s keyboard "
             "settings."),
         .buttons = {{QStringLiteral("Open Settings"), true, [this] { emit settingsWanted(); }},
                     {QStringLiteral("Later"), false, [] {}}}});
}
