#include "os/linux/SettingsCommand.h"

namespace os {

std::optional<SettingsCommand> soundSettingsCommand(const QString& currentDesktop,
                                                    const std::function<bool(const QString&)>& installed) {
    const QStringList desktops = currentDesktop.toLower().split(QLatin1Char(':'), Qt::SkipEmptyParts);
    const auto choose = [&](const QString& program, const QStringList& arguments) {
        return installed(program) ? std::optional<SettingsCommand>({program, arguments}) : std::nullopt;
    };
    std::optional<SettingsCommand> found;
    // Unity and Budgie sessions name GNOME too; their control centre is GNOME's.
    if (desktops.contains(QLatin1String("gnome")))
        found = choose(QStringLiteral("gnome-control-center"), {QStringLiteral("sound")});
    // Plasma 5 installs the same program under both names; older packages have only the second.
    if (!found && desktops.contains(QLatin1String("kde")))
        found = choose(QStringLiteral("systemsettings"), {QStringLiteral("kcm_pulseaudio")});
    if (!found && desktops.contains(QLatin1String("kde")))
        found = choose(QStringLiteral("systemsettings5"), {QStringLiteral("kcm_pulseaudio")});
    // Any other desktop, or one whose own settings are missing: the input devices of the volume control.
    if (!found) found = choose(QStringLiteral("pavucontrol"), {QStringLiteral("--tab=4")});
    return found;
}

} // namespace os
