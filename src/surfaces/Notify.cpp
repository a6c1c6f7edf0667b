#include "surfaces/Notify.h"

#include "board/DeepLink.h"
#include "board/WebHosts.h"
#include "core/Log.h"
#include "server/Settings.h"

#include "core/Strings.h"

Notify::Notify(os::Notifications& center, Settings& settings, QObject* parent)
    : QObject(parent), m_center(center), m_settings(settings), m_links(settings) {
    connect(&m_center, &os::Notifications::clicked, this,
            [this](const QString&, const QVariantMap& userInfo) { open(userInfo); });
}

void Notify::setup(const Run& run) {
    // Check runs may run beside the user's own copy: they must not speak in its name.
    if (run.dumpMenu || run.uiCheck) return;
    m_enabled = m_center.available();
    slog(m_enabled
             ? QStringLiteral("notifications: allowed")
             : QStringLiteral("notifications: not allowed (no notification service on the session bus)"));
}

void Notify::reviewReady(const QString& id, const QString& title, int suggestions,
                         const std::optional<QUrl>& url) {
    const QString body = suggestions == 0   ? QStringLiteral("Notes and the workflow review are in.")
                         : suggestions == 1 ? QStringLiteral("1 suggestion to look at.")
                                            : QStringLiteral("%1 suggestions to look at.").arg(suggestions);
    postAbout(id, QStringLiteral("review.") + id,
              QStringLiteral("Review ready — ") + shortened(title, reviewTitleLimit), body, url);
}

void Notify::saved(const QString& id, const QString& title, const QString& where,
                   const std::optional<QUrl>& url, const std::optional<QString>& key) {
    postAbout(id, QStringLiteral("session.") + key.value_or(id), title, QStringLiteral("Saved in ") + where,
              url);
}

void Notify::filedPersonal(const QString& title, const QString& key) {
    post(QStringLiteral("session.") + key, QStringLiteral("Where does this go? → Personal"),
         QStringLiteral(
             "No choice in 2 min, so “%1” goes to Personal (only you see it). Move it from the menu.")
             .arg(title),
         m_settings.boardURL());
}

std::optional<QUrl> Notify::target(const QVariantMap& userInfo, const QString& base,
                                   const std::optional<QUrl>& home) {
    const QUrl url(userInfo.value(urlKey).toString(), QUrl::StrictMode);
    if (url.isValid() && WebHosts::isBoard(url, base)) return url;
    return home;
}

void Notify::post(const QString& id, const QString& title, const QString& body,
                  const std::optional<QUrl>& url) {
    if (!m_enabled) return;
    os::Notification n{id, title, body, {}};
    if (url) n.userInfo.insert(urlKey, url->toString(QUrl::FullyEncoded));
    m_center.post(n);
}

void Notify::postAbout(const QString& recording, const QString& id, const QString& title, const QString& body,
                       const std::optional<QUrl>& url) {
    if (!m_enabled) return;
    m_links.remember(recording, url);
    post(id, title, body, url);
}

void Notify::open(const QVariantMap& userInfo) {
    const QString base = m_settings.platformBase();
    if (const auto page = target(userInfo, base, DeepLink::board().webURL(base))) emit pageWanted(*page);
}
