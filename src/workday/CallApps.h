#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <optional>

// The known call apps and browsers, by application identity, and what window titles say about calls.
namespace CallApps {

struct Entry {
    QString prefix;
    QString name;
};

// Desktop call apps and browsers, each tried in order; an identity matches when it begins with the prefix.
// Each app appears under its macOS bundle identifier and its Linux identities (Flatpak id, desktop file id,
// window class, executable).
extern const QList<Entry> native;
extern const QList<Entry> browsers;

std::optional<QString> nativeName(const QString& appId);
std::optional<QString> browserName(const QString& appId);
// The web call that a browser window's title shows: "Google Meet", "Zoom", "Teams", "Whereby", "Jitsi".
std::optional<QString> webCall(const QString& title);
// The title a recording of this call gets: the meeting's own name, or "<app> call · <time>" when the window
// says nothing more than the app's name.
QString recordingTitle(const QString& app, const std::optional<QString>& windowTitle,
                       const QDateTime& now = QDateTime::currentDateTime());

} // namespace CallApps
