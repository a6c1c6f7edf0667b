#include "workday/CallApps.h"

#include "core/Fmt.h"
#include "core/Strings.h"

#include <QRegularExpression>

namespace CallApps {
namespace {

std::optional<QString> firstMatch(const QList<Entry>& table, const QString& appId) {
    for (const Entry& e : table) {
        if (appId.startsWith(e.prefix)) return e.name;
    }
    return std::nullopt;
}

} // namespace

const QList<Entry> native = {
    {QStringLiteral("us.zoom.xos"), QStringLiteral("Zoom")},
    {QStringLiteral("us.zoom"), QStringLiteral("Zoom")}, // also the Flatpak us.zoom.Zoom
    {QStringLiteral("com.microsoft.teams2"), QStringLiteral("Teams")},
    {QStringLiteral("com.microsoft.teams"), QStringLiteral("Teams")},
    {QStringLiteral("com.tinyspeck.slackmacgap"), QStringLiteral("Slack")},
    {QStringLiteral("com.apple.FaceTime"), QStringLiteral("FaceTime")},
    {QStringLiteral("com.apple.avconferenced"), QStringLiteral("FaceTime")},
    {QStringLiteral("com.hnc.Discord"), QStringLiteral("Discord")},
    {QStringLiteral("com.cisco.webexmeetingsapp"), QStringLiteral("Webex")},
    {QStringLiteral("com.webex.meetingmanager"), QStringLiteral("Webex")},
    {QStringLiteral("Cisco-Systems.Spark"), QStringLiteral("Webex")},
    // Linux: desktop file ids, window classes and executables of the same apps.
    {QStringLiteral("zoom"), QStringLiteral("Zoom")},
    {QStringLiteral("Zoom"), QStringLiteral("Zoom")},
    {QStringLiteral("com.github.IsmaelMartinez.teams_for_linux"), QStringLiteral("Teams")},
    {QStringLiteral("teams"), QStringLiteral("Teams")}, // also teams-for-linux
    {QStringLiteral("com.slack.Slack"), QStringLiteral("Slack")},
    {QStringLiteral("slack"), QStringLiteral("Slack")},
    {QStringLiteral("com.discordapp.Discord"), QStringLiteral("Discord")},
    {QStringLiteral("discord"), QStringLiteral("Discord")},
    {QStringLiteral("webex"), QStringLiteral("Webex")},
    {QStringLiteral("CiscoCollabHost"), QStringLiteral("Webex")},
};

const QList<Entry> browsers = {
    {QStringLiteral("com.google.Chrome"), QStringLiteral("Chrome")}, // also the Flatpak
    {QStringLiteral("com.apple.Safari"), QStringLiteral("Safari")},
    {QStringLiteral("com.apple.WebKit"), QStringLiteral("Safari")},
    {QStringLiteral("company.thebrowser"), QStringLiteral("Arc")},
    {QStringLiteral("com.brave.Browser"), QStringLiteral("Brave")},
    {QStringLiteral("com.microsoft.edgemac"), QStringLiteral("Edge")},
    {QStringLiteral("org.mozilla.firefox"), QStringLiteral("Firefox")},
    {QStringLiteral("com.vivaldi.Vivaldi"), QStringLiteral("Vivaldi")},
    {QStringLiteral("com.operasoftware.Opera"), QStringLiteral("Opera")},
    // Linux: Flatpak ids, desktop file ids, window classes and executables.
    {QStringLiteral("google-chrome"), QStringLiteral("Chrome")},
    {QStringLiteral("chrome"), QStringLiteral("Chrome")},
    {QStringLiteral("org.chromium.Chromium"), QStringLiteral("Chromium")},
    {QStringLiteral("chromium"), QStringLiteral("Chromium")},
    {QStringLiteral("firefox"), QStringLiteral("Firefox")}, // also firefox-esr
    {QStringLiteral("brave"), QStringLiteral("Brave")},
    {QStringLiteral("com.microsoft.Edge"), QStringLiteral("Edge")},
    {QStringLiteral("microsoft-edge"), QStringLiteral("Edge")},
    {QStringLiteral("msedge"), QStringLiteral("Edge")},
    {QStringLiteral("vivaldi"), QStringLiteral("Vivaldi")},
    {QStringLiteral("com.opera.Opera"), QStringLiteral("Opera")},
    {QStringLiteral("opera"), QStringLiteral("Opera")},
    {QStringLiteral("org.gnome.Epiphany"), QStringLiteral("Epiphany")},
    {QStringLiteral("epiphany"), QStringLiteral("Epiphany")},
};

std::optional<QString> nativeName(const QString& appId) {
    return firstMatch(native, appId);
}
std::optional<QString> browserName(const QString& appId) {
    return firstMatch(browsers, appId);
}

std::optional<QString> webCall(const QString& title) {
    const QString t = title.toLower();
    if (t.contains(QLatin1String("meet.google")) || t.startsWith(QLatin1String("meet -")) ||
        t.startsWith(QStringLiteral("meet \u2013")) || t.contains(QLatin1String("google meet")))
        return QStringLiteral("Google Meet");
    if (t.contains(QLatin1String("zoom"))) return QStringLiteral("Zoom");
    if (t.contains(QLatin1String("teams"))) return QStringLiteral("Teams");
    if (t.contains(QLatin1String("whereby"))) return QStringLiteral("Whereby");
    if (t.contains(QLatin1String("jitsi"))) return QStringLiteral("Jitsi");
    return std::nullopt;
}

QString recordingTitle(const QString& app, const std::optional<QString>& windowTitle, const QDateTime& now) {
    static const QStringList suffixes = {
        QStringLiteral(" - Google Chrome"),
        QStringLiteral(" \u2014 Google Chrome"),
        QStringLiteral(" - Google Meet"),
        QStringLiteral(" \u2013 Google Meet"),
        QStringLiteral(" - Microsoft Teams"),
        QStringLiteral(" | Microsoft Teams"),
        QStringLiteral(" - Arc"),
        QStringLiteral(" \u2014 Safari"),
    };
    static const QRegularExpression meetPrefix(QStringLiteral("^Meet\\s*[\u2013-]\\s*"));
    static const QStringList saysNothing = {
        QString(),
        QStringLiteral("zoom"),
        QStringLiteral("zoom meeting"),
        QStringLiteral("zoom workplace"),
        QStringLiteral("microsoft teams"),
        QStringLiteral("teams"),
        QStringLiteral("slack"),
        QStringLiteral("facetime"),
        QStringLiteral("discord"),
        QStringLiteral("webex"),
        QStringLiteral("meet"),
        QStringLiteral("google meet"),
    };
    QString text = trimmed(windowTitle.value_or(QString()));
    for (const QString& suffix : suffixes) {
        if (text.endsWith(suffix)) text.chop(suffix.size());
    }
    text.remove(meetPrefix);
    if (saysNothing.contains(text.toLower()) || text.size() <= 2)
        return app + QStringLiteral(" call \u00b7 ") + Fmt::human(now);
    return text.left(120);
}

} // namespace CallApps
