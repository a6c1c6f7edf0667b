#include "server/Settings.h"

#include "core/Log.h"
#include "core/Strings.h"
#include "server/Platform.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStandardPaths>
#include <QTimeZone>

namespace {

QString configDir() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/Orvane");
}

void unreadable(const QString& key) {
    slog(QStringLiteral("settings: %1 unreadable, using the default").arg(key));
}

// INI keeps every value as text: a value of the wrong type reads as absent, never as a guess.
std::optional<QString> readString(const QSettings& d, const QString& key) {
    const QVariant v = d.value(key);
    if (!v.isValid()) return std::nullopt;
    if (v.typeId() != QMetaType::QString) {
        unreadable(key);
        return std::nullopt;
    }
    return v.toString();
}

bool readBool(const QSettings& d, const QString& key, bool fallback) {
    const QVariant v = d.value(key);
    if (!v.isValid()) return fallback;
    if (v.typeId() == QMetaType::Bool) return v.toBool();
    const QString text = v.typeId() == QMetaType::QString ? v.toString() : QString();
    if (text == QLatin1String("true")) return true;
    if (text == QLatin1String("false")) return false;
    unreadable(key);
    return fallback;
}

int readInt(const QSettings& d, const QString& key, int fallback) {
    const QVariant v = d.value(key);
    if (!v.isValid()) return fallback;
    bool ok = false;
    const int value = v.typeId() == QMetaType::Int ? v.toInt(&ok) : v.toString().toInt(&ok);
    if (!ok) {
        unreadable(key);
        return fallback;
    }
    return value;
}

QByteArray compact(const QJsonValue& value) {
    return value.isArray() ? QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact)
                           : QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact);
}

// A JSON value stored as compact text; nothing when absent or when it does not decode.
template <class T> std::optional<T> readJson(const QSettings& d, const QString& key) {
    const std::optional<QString> text = readString(d, key);
    if (!text) return std::nullopt;
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(text->toUtf8(), &error);
    try {
        if (error.error == QJsonParseError::NoError)
            return Json::decode<T>(doc.isArray() ? QJsonValue(doc.array()) : QJsonValue(doc.object()));
    } catch (const Json::DecodeError&) {
    }
    unreadable(key);
    return std::nullopt;
}

QString uuidText(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

// A name list, for readJson.
struct WorkspaceList {
    QList<Workspace> items;
    static WorkspaceList fromJson(const QJsonValue& v) { return {Json::decodeList<Workspace>(v)}; }
};

struct NameMap {
    QMap<QString, QString> items;
    static NameMap fromJson(const QJsonValue& v) {
        NameMap out;
        const QJsonObject o = Json::object(v);
        for (auto it = o.begin(); it != o.end(); ++it)
            out.items.insert(it.key(), Json::toString(it.value()));
        return out;
    }
};

QString Settings::defaultsPath(const QString& suite) {
    const bool usable = !suite.isEmpty() && !suite.contains(QLatin1Char('/')) &&
                        suite != QLatin1String(".") && suite != QLatin1String("..") &&
                        QDir().mkpath(configDir());
    return configDir() + QLatin1Char('/') + (usable ? suite : QStringLiteral("orvane")) +
           QStringLiteral(".conf");
}

Settings::Settings(QSettings& defaults, Keychain& keychain, QNetworkAccessManager& network, QObject* parent)
    : QObject(parent), m_d(defaults), m_keychain(keychain), m_network(network) {
    load();
    // Keys arrive after the start, whenever the secret store answers: until then the account reads as signed
    // out.
    connect(&m_keychain, &Keychain::changed, this, &Settings::changed);
    loadKeys();
}

void Settings::loadKeys() {
    QStringList accounts{Keychain::accountItem};
    for (const Workspace& w : std::as_const(m_workspaces))
        accounts.append(uuidText(w.id));
    m_keychain.load(accounts);
}

void Settings::load() {
    // 1. Every value with its default.
    const std::optional<QString> base = readString(m_d, "platformBase");
    m_platformBase = Platform::clean(base && !trimmed(*base).isEmpty() ? *base : Platform::defaultBase);
    m_accountEmail = readString(m_d, "accountEmail");
    m_accountName = readString(m_d, "accountName");
    m_projects = readJson<WorkspaceList>(m_d, "projects").value_or(WorkspaceList{}).items;
    m_workdaySlug = readString(m_d, "workdaySlug");
    m_personalRoot = readString(m_d, "personalRoot");
    m_autoFileTeamCalls = readBool(m_d, "autoFileTeamCalls", false);
    m_lastFiled = readJson<FiledRef>(m_d, "lastFiled");
    if (auto stored = readJson<WorkspaceList>(m_d, "workspaces")) {
        m_workspaces = stored->items;
    } else {
        for (const Platform::LegacyDefault& w : Platform::legacyDefaults)
            m_workspaces.append(Workspace::make(w.name, w.server));
    }
    if (auto active = readString(m_d, "active"); active && !QUuid::fromString(*active).isNull())
        m_activeID = QUuid::fromString(*active);
    m_names = readJson<NameMap>(m_d, "names").value_or(NameMap{}).items;
    m_trackWorkday = readBool(m_d, "trackWorkday", false);
    m_includeTitles = readBool(m_d, "includeTitles", true);
    m_offerCalls = readBool(m_d, "offerCalls", true);
    m_autoRecordCalls = readBool(m_d, "autoRecordCalls", false);
    m_liveTips = readBool(m_d, "liveTips", true);
    m_autoPin = readBool(m_d, "autoPin", true);
    m_liveHearing = readBool(m_d, "liveHearing", true);
    m_breakReminders = readBool(m_d, "breakReminders", true);
    m_breakMinutes = readInt(m_d, "breakMinutes", defaultBreakMinutes);
    m_workoutOn = readBool(m_d, "workoutOn", true);
    m_workoutMinute = readInt(m_d, "workoutMinute", defaultWorkoutMinute);
    m_wrapOn = readBool(m_d, "wrapOn", true);
    m_wrapMinute = readInt(m_d, "wrapMinute", defaultWrapMinute);
    m_welcomeShown = readBool(m_d, "welcomeShown", false);
    m_trayHintShown = readBool(m_d, "trayHintShown", false);
    m_keysHintShown = readBool(m_d, "keysHintShown", false);

    // 2. A valid active workspace.
    const bool activeKnown =
        m_activeID && std::any_of(m_workspaces.begin(), m_workspaces.end(),
                                  [&](const Workspace& w) { return w.id == *m_activeID; });
    if (!activeKnown) {
        m_activeID = m_workspaces.isEmpty() ? std::nullopt : std::optional<QUuid>(m_workspaces.first().id);
        writeOptional("active", m_activeID ? std::optional<QString>(uuidText(*m_activeID)) : std::nullopt);
    }
    // 3. Defaults and fresh ids survive the first run.
    saveWorkspaces();
    // 4. Projects of another platform are dropped; 5. older entries gain their API root.
    const QString prefix = m_platformBase + QStringLiteral("/app/p/");
    QList<Workspace> kept;
    for (Workspace p : std::as_const(m_projects)) {
        if (!withoutTrailingSlashes(p.server).startsWith(prefix)) continue;
        if (p.slug && !p.apiRoot)
            p.apiRoot = m_platformBase + QStringLiteral("/api/v1/p/") + urlComponent(*p.slug);
        kept.append(p);
    }
    m_projects = kept;
    // 6.
    saveProjects();
}

void Settings::write(const char* key, const QVariant& value) {
    if (value.isValid())
        m_d.setValue(key, value);
    else
        m_d.remove(key);
    m_d.sync();
    emit changed();
}

void Settings::writeOptional(const char* key, const std::optional<QString>& value) {
    write(key, value ? QVariant(*value) : QVariant());
}

void Settings::saveProjects() {
    write("projects", QString::fromUtf8(compact(Json::encode(m_projects))));
}

void Settings::saveWorkspaces() {
    write("workspaces", QString::fromUtf8(compact(Json::encode(m_workspaces))));
}

void Settings::setPlatformBase(const QString& base) {
    const QString cleaned = Platform::clean(base);
    if (cleaned == m_platformBase) return;
    m_platformBase = cleaned;
    write("platformBase", cleaned);
}

void Settings::setAccountError(const std::optional<QString>& error) {
    if (error == m_accountError) return;
    m_accountError = error;
    emit changed();
}

void Settings::setWorkdaySlug(const std::optional<QString>& slug) {
    if (slug == m_workdaySlug) return;
    m_workdaySlug = slug;
    writeOptional("workdaySlug", slug);
}

void Settings::setLastFiled(const std::optional<FiledRef>& filed) {
    if (filed == m_lastFiled) return;
    m_lastFiled = filed;
    write("lastFiled", filed ? QVariant(QString::fromUtf8(compact(filed->toJson()))) : QVariant());
}

void Settings::setWorkspaces(const QList<Workspace>& list) {
    if (list == m_workspaces) return;
    m_workspaces = list;
    loadKeys();
    saveWorkspaces();
}

void Settings::setActiveID(const std::optional<QUuid>& id) {
    if (id == m_activeID) return;
    m_activeID = id;
    writeOptional("active", id ? std::optional<QString>(uuidText(*id)) : std::nullopt);
}

void Settings::setNames(const QMap<QString, QString>& names) {
    if (names == m_names) return;
    m_names = names;
    QJsonObject o;
    for (auto it = names.begin(); it != names.end(); ++it)
        o.insert(it.key(), it.value());
    write("names", QString::fromUtf8(compact(o)));
}

// --- Account

QString Settings::accountKey() const {
    return m_keychain.get(Keychain::accountItem).value_or(QString());
}

bool Settings::signedIn() const {
    return !accountKey().isEmpty() && m_accountEmail.has_value();
}

void Settings::signIn(const QString& key, const QString& email, const std::optional<QString>& name) {
    m_keychain.set(Keychain::accountItem, key, Keychain::accountLabel);
    m_accountEmail = email;
    writeOptional("accountEmail", email);
    m_accountName = name;
    writeOptional("accountName", name);
    setAccountError(std::nullopt);
}

void Settings::apply(const AccountInfo& account, const QList<Workspace>& projects) {
    if (m_accountEmail != account.email) {
        m_accountEmail = account.email;
        writeOptional("accountEmail", account.email);
    }
    if (account.name && m_accountName != account.name) {
        m_accountName = account.name;
        writeOptional("accountName", account.name);
    }
    if (projects != m_projects) {
        m_projects = projects;
        saveProjects();
    }
    if (account.personalRoot && m_personalRoot != account.personalRoot) {
        m_personalRoot = account.personalRoot;
        writeOptional("personalRoot", account.personalRoot);
    }
    setAccountError(std::nullopt);
}

void Settings::signOut() {
    m_keychain.remove(Keychain::accountItem);
    m_accountEmail.reset();
    writeOptional("accountEmail", std::nullopt);
    m_accountName.reset();
    writeOptional("accountName", std::nullopt);
    m_projects.clear();
    saveProjects();
    m_workdaySlug.reset();
    writeOptional("workdaySlug", std::nullopt);
    m_personalRoot.reset();
    writeOptional("personalRoot", std::nullopt);
    setLastFiled(std::nullopt);
    setAccountError(std::nullopt);
}

bool Settings::projectMode() const {
    return signedIn() && !m_projects.isEmpty();
}

bool Settings::legacyServers() const {
    return readBool(m_d, "legacyServers", true);
}

bool Settings::showLegacy() const {
    if (!legacyServers()) return false;
    return !signedIn() || m_projects.isEmpty();
}

// --- Destinations

QList<Workspace> Settings::targets() const {
    if (projectMode()) return m_projects;
    if (showLegacy()) return m_workspaces;
    return {};
}

std::optional<Workspace> Settings::workspace(const std::optional<QUuid>& id) const {
    if (!id) return std::nullopt;
    for (const Workspace& w : targets())
        if (w.id == *id) return w;
    return std::nullopt;
}

QList<std::pair<Workspace, API>> Settings::connected() const {
    QList<std::pair<Workspace, API>> out;
    for (const Workspace& w : targets())
        if (auto a = api(w)) out.append({w, *a});
    return out;
}

std::optional<Workspace> Settings::home() const {
    if (projectMode()) {
        for (const Workspace& p : m_projects)
            if (m_workdaySlug && p.slug == m_workdaySlug) return p;
        return m_projects.first();
    }
    const auto reachable = connected();
    if (!reachable.isEmpty()) {
        for (const auto& [w, a] : reachable)
            if (m_activeID && w.id == *m_activeID) return w;
        return reachable.first().first;
    }
    if (showLegacy() && !m_workspaces.isEmpty()) {
        for (const Workspace& w : m_workspaces)
            if (m_activeID && w.id == *m_activeID) return w;
        return m_workspaces.first();
    }
    return std::nullopt;
}

std::optional<API> Settings::api(const std::optional<Workspace>& workspace) const {
    if (!workspace) return std::nullopt;
    const QUrl url(workspace->base(), QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty()) return std::nullopt;
    const QString k = key(*workspace);
    if (k.isEmpty() && (workspace->isProject() || !workspace->isLocal())) return std::nullopt;
    return API(m_network, workspace->base(), k, workspace->apiRoot);
}

std::optional<API> Settings::personalAPI() const {
    if (!signedIn()) return std::nullopt;
    return API(m_network, m_platformBase + QStringLiteral("/app"), accountKey(),
               m_personalRoot.value_or(m_platformBase + QStringLiteral("/api/v1/personal")));
}

std::optional<API> Settings::api(const QString& dest) const {
    if (dest == FiledRef::personal) return personalAPI();
    for (const Workspace& p : m_projects)
        if (p.slug == dest) return api(p);
    return std::nullopt;
}

QString Settings::destName(const QString& dest) const {
    if (dest == FiledRef::personal) return QStringLiteral("Personal");
    for (const Workspace& p : m_projects)
        if (p.slug == dest) return p.name;
    return dest;
}

std::optional<QUrl> Settings::link(const QString& dest, const QString& call) const {
    if (dest == FiledRef::personal)
        return QUrl(m_platformBase + QStringLiteral("/app/r/") + urlComponent(call));
    for (const Workspace& p : m_projects)
        if (p.slug == dest) return QUrl(p.base() + QStringLiteral("/#/library/call/") + urlComponent(call));
    return std::nullopt;
}

std::optional<QUrl> Settings::boardURL() const {
    if (signedIn()) return QUrl(m_platformBase + QStringLiteral("/app"));
    if (auto h = home()) return QUrl(h->base() + QStringLiteral("/#/board"));
    return std::nullopt;
}

QString Settings::key(const Workspace& workspace) const {
    if (workspace.isProject()) return accountKey();
    return m_keychain.get(uuidText(workspace.id)).value_or(QString());
}

void Settings::setKey(const QString& newKey, const Workspace& workspace) {
    if (workspace.isProject()) return;
    const QString k = trimmed(newKey);
    if (k == key(workspace)) return;
    m_keychain.set(uuidText(workspace.id), k);
    emit changed();
}

void Settings::remove(const Workspace& workspace) {
    m_keychain.remove(uuidText(workspace.id));
    QList<Workspace> rest = m_workspaces;
    rest.removeIf([&](const Workspace& w) { return w.id == workspace.id; });
    setWorkspaces(rest);
    if (m_activeID == workspace.id)
        setActiveID(rest.isEmpty() ? std::nullopt : std::optional<QUuid>(rest.first().id));
}

std::optional<QString> Settings::myName(const std::optional<Workspace>& workspace) const {
    if (!workspace) return std::nullopt;
    if (auto it = m_names.constFind(uuidText(workspace->id)); it != m_names.constEnd()) return *it;
    if (workspace->isProject()) return m_accountName;
    return std::nullopt;
}

bool Settings::hasName(const Workspace& workspace) const {
    return m_names.contains(uuidText(workspace.id));
}

void Settings::setName(const Workspace& workspace, const QString& name) {
    QMap<QString, QString> names = m_names;
    names.insert(uuidText(workspace.id), name);
    setNames(names);
}

QDateTime Settings::date(int fromMinute, const QDate& day) {
    const QTime wanted(fromMinute / 60, fromMinute % 60);
    if (!wanted.isValid()) return QDateTime::currentDateTime();
    QDateTime at(day, wanted);
    if (!at.isValid()) return QDateTime::currentDateTime();
    if (at.time() != wanted) {
        // The clock skipped this time: take the first valid time after the change.
        const QTimeZone zone = QTimeZone::systemTimeZone();
        const auto change = zone.previousTransition(at.addSecs(1));
        if (change.atUtc.isValid()) return change.atUtc.toLocalTime();
    }
    return at;
}

int Settings::minute(const QDateTime& from) {
    const QTime t = from.toLocalTime().time();
    return t.hour() * 60 + t.minute();
}
