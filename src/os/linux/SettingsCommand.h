#pragma once

#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

namespace os {

// A program that opens one page of the desktop's settings.
struct SettingsCommand {
    QString program;
    QStringList arguments;

    bool operator==(const SettingsCommand&) const = default;
};

// Where the user picks or connects a microphone on this desktop: GNOME's and KDE's own sound settings when
// the session is theirs and they are installed, else PulseAudio's volume control on its input tab. Nothing
// when none of them is installed. `currentDesktop` is XDG_CURRENT_DESKTOP, a colon-separated list
// ("ubuntu:GNOME"); `installed` says whether a program is on the path.
std::optional<SettingsCommand> soundSettingsCommand(const QString& currentDesktop,
                                                    const std::function<bool(const QString&)>& installed);

} // namespace os
