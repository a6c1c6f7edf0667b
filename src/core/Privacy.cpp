#include "core/Privacy.h"

#include "core/Strings.h"

#include <algorithm>

namespace Privacy {

const QStringList passwordApps = {
    QStringLiteral("1password"),
    QStringLiteral("1password 7"),
    QStringLiteral("keychain access"),
    QStringLiteral("passwords"),
    QStringLiteral("bitwarden"),
    QStringLiteral("lastpass"),
    QStringLiteral("dashlane"),
    QStringLiteral("enpass"),
    QStringLiteral("keepassxc"),
    QStringLiteral("proton pass"),
    // The desktops' keyring managers, the counterpart of Keychain Access.
    QStringLiteral("passwords and keys"),
    QStringLiteral("seahorse"),
    QStringLiteral("kwalletmanager"),
    QStringLiteral("kde wallet manager"),
};

const QStringList passwordBundles = {
    QStringLiteral("com.1password"),
    QStringLiteral("com.agilebits"),
    QStringLiteral("com.apple.keychainaccess"),
    QStringLiteral("com.apple.Passwords"),
    QStringLiteral("com.bitwarden"),
    QStringLiteral("com.lastpass"),
    QStringLiteral("com.dashlane"),
    QStringLiteral("in.sinew.Enpass"),
    QStringLiteral("org.keepassxc"),
    QStringLiteral("me.proton.pass"),
    // Linux: Flatpak ids, desktop file ids, window classes and executables.
    QStringLiteral("me.proton.Pass"),
    QStringLiteral("proton-pass"),
    QStringLiteral("keepassxc"),
    QStringLiteral("bitwarden"),
    QStringLiteral("1password"),
    QStringLiteral("org.gnome.seahorse"),
    QStringLiteral("seahorse"),
    QStringLiteral("org.kde.kwalletmanager"),
    QStringLiteral("kwalletmanager"),
};

const QStringList privateMarkers = {
    QStringLiteral("private browsing"), QStringLiteral("incognito"),      QStringLiteral("inprivate"),
    QStringLiteral("private window"),   QStringLiteral("\u2014 private"), QStringLiteral("- private"),
    QStringLiteral("(private)"),
};

std::pair<QString, std::optional<QString>> classify(const QString& app, const QString& appId,
                                                    const std::optional<QString>& title, bool includeTitles) {
    const auto hidden = std::pair<QString, std::optional<QString>>{privateApp, std::nullopt};
    if (passwordApps.contains(app.toLower())) return hidden;
    if (std::any_of(passwordBundles.cbegin(), passwordBundles.cend(),
                    [&appId](const QString& prefix) { return appId.startsWith(prefix); }))
        return hidden;
    if (title) {
        const QString lower = title->toLower();
        if (std::any_of(privateMarkers.cbegin(), privateMarkers.cend(),
                        [&lower](const QString& marker) { return lower.contains(marker); }))
            return hidden;
    }
    if (includeTitles && title) {
        const QString kept = trimmed(*title);
        if (!kept.isEmpty()) return {app, kept.left(maxTitle)};
    }
    return {app, std::nullopt};
}

} // namespace Privacy
