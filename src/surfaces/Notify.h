#pragma once

#include "board/SessionLinks.h"
#include "os/Notifications.h"

#include <QObject>
#include <QUrl>
#include <optional>

class Settings;

// The app's desktop notifications: what must reach the user while the app is out of sight. A click asks for
// the board page the notification is about; the page of every recording posted is remembered for its links.
// The composition root makes the one instance.
class Notify : public QObject {
    Q_OBJECT
public:
    // How this run was started, as far as notifications care.
    struct Run {
        bool dumpMenu = false;
        bool uiCheck = false;
    };

    Notify(os::Notifications& center, Settings& settings, QObject* parent = nullptr);

    // Turns notifications on, except for check runs and desktops without a notification service. Logs the
    // service's answer.
    void setup(const Run& run);
    bool enabled() const { return m_enabled; }

    void reviewReady(const QString& id, const QString& title, int suggestions,
                     const std::optional<QUrl>& url);
    // Named by `key`, the session's folder, when given: a later notification of that session replaces it.
    void saved(const QString& id, const QString& title, const QString& where, const std::optional<QUrl>& url,
               const std::optional<QString>& key);
    void filedPersonal(const QString& title, const QString& key);

    // The page a click opens: the notification's `url` when it is a board page, else the board home.
    static std::optional<QUrl> target(const QVariantMap& userInfo, const QString& base,
                                      const std::optional<QUrl>& home);

    static inline const QString urlKey = QStringLiteral("url");

signals:
    // A click on a notification: the page to show in the board window.
    void pageWanted(const QUrl& page);

public:
    // A review title longer than this is shortened in the notification's title.
    static constexpr int reviewTitleLimit = 44;

private:
    void post(const QString& id, const QString& title, const QString& body, const std::optional<QUrl>& url);
    // Recordings' notifications: the page is remembered under the recording's id.
    void postAbout(const QString& recording, const QString& id, const QString& title, const QString& body,
                   const std::optional<QUrl>& url);
    void open(const QVariantMap& userInfo);

    os::Notifications& m_center;
    Settings& m_settings;
    SessionLinks m_links;
    bool m_enabled = false;
};
