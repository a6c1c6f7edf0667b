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
    if (!m_needs.trayShown() && !settings.trayHintShown()) {
        hintAtTray();
        settings.setTrayHintShown(true);
    }
}

void FirstRun::showWelcome() {
    slog(QStringLiteral("welcome: shown"));
    m_needs.windows.show(WelcomeView::windowKey, WelcomeView::title,
                         new WelcomeView({m_needs.settings.signedIn(), m_needs.signIn}));
}

// Stock GNOME has no tray: the AppIndicator extension gives it one.
void FirstRun::hintAtTray() {
    slog(QStringLiteral("first run: no tray on this desktop, told the user how to get one"));
    m_needs.nudges.show({.kind = QStringLiteral("tray"),
                         .priority = 1,
                         .title = QStringLiteral("Orvane has no icon in this desktop\u2019s top bar"),
                         .message = QStringLiteral(
                             "Your desktop shows no tray. On GNOME, turn on the AppIndicator extension "
                             "(package gnome-shell-extension-appindicator) and Orvane\u2019s icon appears. "
                             "Until then the panel is a window of its own, and Ctrl+Alt+R, Ctrl+Alt+P "
                             "and Ctrl+Alt+Space work from any window."),
                         .buttons = {{QStringLiteral("OK"), true, [] {}}}});
}
