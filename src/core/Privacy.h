#pragma once

#include <QString>
#include <QStringList>
#include <optional>
#include <utility>

// What of an app in front may be kept: nothing of a password manager or a private browser window.
namespace Privacy {

inline const QString privateApp = QStringLiteral("(private)");
// Longest title kept.
inline constexpr int maxTitle = 300;

// Display names in lower case.
extern const QStringList passwordApps;
// Prefixes of application identities: macOS bundle identifiers and the Linux ids of the same apps.
extern const QStringList passwordBundles;
// Looked for in the lower-case window title.
extern const QStringList privateMarkers;

// The app name and title to store.
std::pair<QString, std::optional<QString>> classify(const QString& app, const QString& appId,
                                                    const std::optional<QString>& title, bool includeTitles);

} // namespace Privacy
