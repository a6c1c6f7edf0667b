#pragma once

#include "core/FiledRef.h"
#include "core/Keychain.h"
#include "core/Workspace.h"
#include "server/API.h"
#include "server/AccountInfo.h"

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QObject>
#include <QSettings>
#include <optional>
#include <utility>

// What the program remembers between runs, and which destinations exist now with which key.
// Every persisted value is written back at once; `changed` tells the views to redraw, also when keys arrive
// from the secret store after the start.
class Settings : public QObject {
    Q_OBJECT
public:
    // ~/.config/Orvane/orvane.conf, or <suite>.conf for a named suite when such a store can be made.
    static QString defaultsPath(const QString& suite);

    Settings(QSettings& defaults, Keychain& keychain, QNetworkAccessManager& network,
             QObject* parent = nullptr);

    // What every API these settings make sends through.
    QNetworkAccessManager& network() const { return m_network; }

    // Account and destinations.
    const QString& platformBase() const { return m_platformBase; }
    const std::optional<QString>& accountEmail() const { return m_accountEmail; }
    const std::optional<QString>& accountName() const { return m_accountName; }
    const QList<Workspace>& projects() const { return m_projects; }
    const std::optional<QString>& accountError() const { return m_accountError; }
    const std::optional<QString>& workdaySlug() const { return m_workdaySlug; }
    const std::optional<QString>& personalRoot() const { return m_personalRoot; }
    const std::optional<FiledRef>& lastFiled() const { return m_lastFiled; }
    const QList<Workspace>& workspaces() const { return m_workspaces; }
    const std::optional<QUuid>& activeID() const { return m_activeID; }
    const QMap<QString, QString>& names() const { return m_names; }

    void setPlatformBase(const QString& base);
    void setAccountError(const std::optional<QString>& error);
    void setWorkdaySlug(const std::optional<QString>& slug);
    void setLastFiled(const std::optional<FiledRef>& filed);
    void setWorkspaces(const QList<Workspace>& list);
    void setActiveID(const std::optional<QUuid>& id);
    void setNames(const QMap<QString, QString>& names);

    // Preferences. A number out of its range in the file is shown as its default until the user sets one.
    static constexpr int defaultBreakMinutes = 50;
    static constexpr int defaultWorkoutMinute = 1050; // 17:30
    static constexpr int defaultWrapMinute = 1080;    // 18:00
    bool autoFileTeamCalls() const { return m_autoFileTeamCalls; }
    bool trackWorkday() const { return m_trackWorkday; }
    bool includeTitles() const { return m_includeTitles; }
    bool offerCalls() const { return m_offerCalls; }
    bool autoRecordCalls() const { return m_autoRecordCalls; }
    bool liveTips() const { return m_liveTips; }
    bool autoPin() const { return m_autoPin; }
    bool liveHearing() const { return m_liveHearing; }
    bool breakReminders() const { return m_breakReminders; }
    int breakMinutes() const { return m_breakMinutes; }
    bool workoutOn() const { return m_workoutOn; }
    int workoutMinute() const { return m_workoutMinute; }
    bool wrapOn() const { return m_wrapOn; }
    int wrapMinute() const { return m_wrapMinute; }
    // This computer's first-run hints, each given once.
    bool welcomeShown() const { return m_welcomeShown; }
    bool trayHintShown() const { return m_trayHintShown; }
    bool keysHintShown() const { return m_keysHintShown; }

    void setAutoFileTeamCalls(bool on) { assign(m_autoFileTeamCalls, on, "autoFileTeamCalls"); }
    void setTrackWorkday(bool on) { assign(m_trackWorkday, on, "trackWorkday"); }
    void setIncludeTitles(bool on) { assign(m_includeTitles, on, "includeTitles"); }
    void setOfferCalls(bool on) { assign(m_offerCalls, on, "offerCalls"); }
    void setAutoRecordCalls(bool on) { assign(m_autoRecordCalls, on, "autoRecordCalls"); }
    void setLiveTips(bool on) { assign(m_liveTips, on, "liveTips"); }
    void setAutoPin(bool on) { assign(m_autoPin, on, "autoPin"); }
    void setLiveHearing(bool on) { assign(m_liveHearing, on, "liveHearing"); }
    void setBreakReminders(bool on) { assign(m_breakReminders, on, "breakReminders"); }
    void setBreakMinutes(int minutes) { assign(m_breakMinutes, minutes, "breakMinutes"); }
    void setWorkoutOn(bool on) { assign(m_workoutOn, on, "workoutOn"); }
    void setWorkoutMinute(int minute) { assign(m_workoutMinute, minute, "workoutMinute"); }
    void setWrapOn(bool on) { assign(m_wrapOn, on, "wrapOn"); }
    void setWrapMinute(int minute) { assign(m_wrapMinute, minute, "wrapMinute"); }
    void setWelcomeShown(bool shown) { assign(m_welcomeShown, shown, "welcomeShown"); }
    void setTrayHintShown(bool shown) { assign(m_trayHintShown, shown, "trayHintShown"); }
    void setKeysHintShown(bool shown) { assign(m_keysHintShown, shown, "keysHintShown"); }

    // Account operations.
    QString accountKey() const;
    bool signedIn() const;
    void signIn(const QString& key, const QString& email, const std::optional<QString>& name);
    void apply(const AccountInfo& account, const QList<Workspace>& projects);
    void signOut();
    bool projectMode() const;
    // Whether the old per-workspace servers are offered at all: the `legacyServers` key, on when absent.
    bool legacyServers() const;
    bool showLegacy() const;

    // Destinations.
    QList<Workspace> targets() const;
    std::optional<Workspace> workspace(const std::optional<QUuid>& id) const;
    QList<std::pair<Workspace, API>> connected() const;
    std::optional<Workspace> home() const;
    std::optional<API> homeAPI() const { return api(home()); }
    std::optional<API> api(const std::optional<Workspace>& workspace) const;
    std::optional<API> personalAPI() const;
    std::optional<API> api(const QString& dest) const;
    QString destName(const QString& dest) const;
    std::optional<QUrl> link(const QString& dest, const QString& call) const;
    std::optional<QUrl> boardURL() const;
    QString key(const Workspace& workspace) const;
    void setKey(const QString& key, const Workspace& workspace);
    void remove(const Workspace& workspace);
    std::optional<QString> myName(const std::optional<Workspace>& workspace) const;
    // The user's name as a destination's own server knows it, kept under the destination's id.
    bool hasName(const Workspace& workspace) const;
    void setName(const Workspace& workspace, const QString& name);

    // The stored minute of the day as a local date on that day (today by default), and back.
    static QDateTime date(int fromMinute, const QDate& day = QDate::currentDate());
    static int minute(const QDateTime& from);

    QSettings& defaults() { return m_d; }

signals:
    void changed();

private:
    void load();
    // Asks the keychain for the account key and the key of every legacy workspace.
    void loadKeys();
    template <class T> void assign(T& field, const T& value, const char* key) {
        if (field == value) return;
        field = value;
        write(key, QVariant::fromValue(value));
    }
    void write(const char* key, const QVariant& value);
    void writeOptional(const char* key, const std::optional<QString>& value);
    void saveProjects();
    void saveWorkspaces();

    QSettings& m_d;
    Keychain& m_keychain; // holds the keys loaded so far
    QNetworkAccessManager& m_network;

    QString m_platformBase;
    std::optional<QString> m_accountEmail;
    std::optional<QString> m_accountName;
    QList<Workspace> m_projects;
    std::optional<QString> m_accountError;
    std::optional<QString> m_workdaySlug;
    std::optional<QString> m_personalRoot;
    bool m_autoFileTeamCalls = false;
    std::optional<FiledRef> m_lastFiled;
    QList<Workspace> m_workspaces;
    std::optional<QUuid> m_activeID;
    QMap<QString, QString> m_names;
    bool m_trackWorkday = false;
    bool m_includeTitles = true;
    bool m_offerCalls = true;
    bool m_autoRecordCalls = false;
    bool m_liveTips = true;
    bool m_autoPin = true;
    bool m_liveHearing = true;
    bool m_welcomeShown = false;
    bool m_trayHintShown = false;
    bool m_keysHintShown = false;
    bool m_breakReminders = true;
    int m_breakMinutes = defaultBreakMinutes;
    bool m_workoutOn = true;
    int m_workoutMinute = defaultWorkoutMinute;
    bool m_wrapOn = true;
    int m_wrapMinute = defaultWrapMinute;
};
