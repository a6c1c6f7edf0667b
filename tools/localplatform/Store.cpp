#include "Store.h"

#include "DeviceCodes.h"

namespace {

constexpr int schemaVersion = 6;

const char* const schema = R"sql(
CREATE TABLE accounts (id INTEGER PRIMARY KEY, email TEXT UNIQUE NOT NULL, name TEXT NOT NULL);
CREATE TABLE account_keys (key TEXT PRIMARY KEY, account INTEGER NOT NULL REFERENCES accounts(id));
CREATE TABLE projects (slug TEXT PRIMARY KEY, name TEXT NOT NULL);
CREATE TABLE members (slug TEXT NOT NULL, name TEXT NOT NULL, ord INTEGER NOT NULL, PRIMARY KEY (slug, name));
CREATE TABLE seats (account INTEGER NOT NULL, slug TEXT NOT NULL, seat TEXT NOT NULL, ord INTEGER NOT NULL,
                    PRIMARY KEY (account, slug));
CREATE TABLE legacy_workspaces (name TEXT PRIMARY KEY, key TEXT NOT NULL, ego TEXT NOT NULL);
CREATE TABLE todos (scope TEXT NOT NULL, id TEXT NOT NULL, numeric_id INTEGER NOT NULL, n INTEGER NOT NULL,
                    title TEXT NOT NULL, status TEXT NOT NULL, topic TEXT, effort TEXT, notes TEXT,
                    inbox INTEGER NOT NULL DEFAULT 0, source TEXT, PRIMARY KEY (scope, id));
CREATE TABLE workdays (scope TEXT NOT NULL, day TEXT NOT NULL, spans TEXT NOT NULL, span_count INTEGER NOT NULL,
                       PRIMARY KEY (scope, day));
CREATE TABLE wraps (scope TEXT NOT NULL, day TEXT NOT NULL, polls INTEGER NOT NULL,
                    followed_up INTEGER NOT NULL DEFAULT 0, PRIMARY KEY (scope, day));
CREATE TABLE calls (number INTEGER PRIMARY KEY AUTOINCREMENT, scope TEXT NOT NULL, fields TEXT NOT NULL,
                    state TEXT NOT NULL, audio_bytes INTEGER NOT NULL DEFAULT 0, processing_since INTEGER);
CREATE TABLE suggestions (call INTEGER NOT NULL, id TEXT NOT NULL, state TEXT NOT NULL, PRIMARY KEY (call, id));
CREATE TABLE devices (number INTEGER PRIMARY KEY AUTOINCREMENT, device_code TEXT UNIQUE, user_code TEXT UNIQUE,
                      client TEXT NOT NULL, name TEXT NOT NULL, state INTEGER NOT NULL, expires_at INTEGER NOT NULL,
                      key TEXT, account INTEGER);
CREATE TABLE app_tokens (token TEXT PRIMARY KEY, account INTEGER NOT NULL, next TEXT, expires_at INTEGER NOT NULL);
CREATE TABLE web_sessions (number INTEGER PRIMARY KEY AUTOINCREMENT, id TEXT UNIQUE NOT NULL,
                           account INTEGER NOT NULL, via TEXT NOT NULL);
)sql";

// One account with a key, two projects and a contact seat, each with its team (Tess is in two), a legacy
// workspace with its own key, and the same three to-dos (one with a text id, two with numbers) in every
// destination.
const char* const seed = R"sql(
INSERT INTO accounts (id, email, name) VALUES (1, 'dev@orvane.test', 'Dev');
INSERT INTO account_keys VALUES ('dev-key', 1);
INSERT INTO projects VALUES ('brevik', 'Brevik'), ('noctal', 'Noctal'), ('client-x', 'Client X');
INSERT INTO members VALUES ('brevik', 'Ivo', 1), ('brevik', 'Tess', 2), ('noctal', 'Mara', 1),
                           ('client-x', 'Jonas', 1), ('client-x', 'Tess', 2);
INSERT INTO seats VALUES (1, 'brevik', 'owner', 1), (1, 'noctal', 'member', 2), (1, 'client-x', 'contact', 3);
INSERT INTO legacy_workspaces VALUES ('local', 'legacy-key', 'Dev');
WITH scopes(scope) AS (VALUES ('project:brevik'), ('project:noctal'), ('project:client-x'), ('personal:1'),
                              ('legacy:local'))
INSERT INTO todos (scope, id, numeric_id, n, title, status, topic, effort)
SELECT scope, 'T-1', 0, 1, 'Write the release notes', 'open', 'docs', NULL FROM scopes
UNION ALL SELECT scope, '2', 1, 2, 'Review the onboarding flow', 'in_progress', 'product', '3' FROM scopes
UNION ALL SELECT scope, '3', 1, 3, 'Send the weekly summary', 'open', NULL, '1' FROM scopes;
)sql";

const char* const dropAll = R"sql(
DROP TABLE IF EXISTS accounts; DROP TABLE IF EXISTS account_keys; DROP TABLE IF EXISTS projects;
DROP TABLE IF EXISTS members;
DROP TABLE IF EXISTS seats; DROP TABLE IF EXISTS legacy_workspaces; DROP TABLE IF EXISTS todos;
DROP TABLE IF EXISTS workdays; DROP TABLE IF EXISTS wraps; DROP TABLE IF EXISTS calls; DROP TABLE IF EXISTS devices;
DROP TABLE IF EXISTS suggestions; DROP TABLE IF EXISTS app_tokens; DROP TABLE IF EXISTS web_sessions;
)sql";

} // namespace

Store::Store(const std::string& file) : m_db(file) {
    m_db.exec("PRAGMA journal_mode = WAL; PRAGMA busy_timeout = 5000;");
    Statement version = m_db.prepare("PRAGMA user_version");
    if (version.step() && version.integer(0) != schemaVersion) createAndSeed();
}

void Store::reset() {
    const std::lock_guard lock(m_mutex);
    createAndSeed();
}

void Store::createAndSeed() {
    Transaction transaction(m_db);
    m_db.exec(dropAll);
    m_db.exec(schema);
    m_db.exec(seed);
    m_db.exec("PRAGMA user_version = " + std::to_string(schemaVersion));
    transaction.commit();
}

std::optional<Store::Account> Store::findAccount(std::string_view sql, const auto& value) {
    Statement row = m_db.prepare(sql);
    if (!row.bind(value).step()) return std::nullopt;
    return Account{row.integer(0), row.text(1), row.text(2)};
}

std::optional<Store::Account> Store::accountForKey(const std::string& key) {
    const std::lock_guard lock(m_mutex);
    return findAccount("SELECT a.id, a.email, a.name FROM account_keys k JOIN accounts a ON a.id = k.account "
                       "WHERE k.key = ?",
                       key);
}

std::optional<Store::Account> Store::accountByEmail(const std::string& email) {
    const std::lock_guard lock(m_mutex);
    return findAccount("SELECT id, email, name FROM accounts WHERE email = ?", email);
}

std::optional<Store::Account> Store::account(std::int64_t id) {
    const std::lock_guard lock(m_mutex);
    return findAccount("SELECT id, email, name FROM accounts WHERE id = ?", id);
}

std::vector<Store::Membership> Store::memberships(std::int64_t account) {
    const std::lock_guard lock(m_mutex);
    Statement rows =
        m_db.prepare("SELECT s.slug, p.name, s.seat FROM seats s JOIN projects p ON p.slug = s.slug "
                     "WHERE s.account = ? ORDER BY s.ord");
    rows.bind(account);
    std::vector<Membership> result;
    while (rows.step())
        result.push_back({rows.text(0), rows.text(1), rows.text(2)});
    return result;
}

bool Store::projectExists(const std::string& slug) {
    const std::lock_guard lock(m_mutex);
    return m_db.prepare("SELECT 1 FROM projects WHERE slug = ?").bind(slug).step();
}

std::optional<Store::Project> Store::project(const std::string& slug) {
    const std::lock_guard lock(m_mutex);
    Statement row = m_db.prepare("SELECT slug, name FROM projects WHERE slug = ?");
    if (!row.bind(slug).step()) return std::nullopt;
    Project project{row.text(0), row.text(1), {}};
    Statement members = m_db.prepare("SELECT name FROM members WHERE slug = ? ORDER BY ord");
    members.bind(slug);
    while (members.step())
        project.members.push_back(members.text(0));
    return project;
}

std::optional<Store::LegacyWorkspace> Store::legacyWorkspace(const std::string& name) {
    const std::lock_guard lock(m_mutex);
    Statement row = m_db.prepare("SELECT name, key, ego FROM legacy_workspaces WHERE name = ?");
    if (!row.bind(name).step()) return std::nullopt;
    return LegacyWorkspace{row.text(0), row.text(1), row.text(2)};
}

std::vector<Store::Todo> Store::todos(const std::string& scope, Which which) {
    const std::lock_guard lock(m_mutex);
    Statement rows = m_db.prepare(
        "SELECT id, numeric_id, n, title, status, topic, effort, notes, inbox, source FROM todos "
        "WHERE scope = ? AND (? OR status != 'done') ORDER BY n");
    rows.bind(scope, int(which == Which::All));
    std::vector<Todo> result;
    while (rows.step())
        result.push_back({rows.text(0), rows.integer(1) != 0, rows.integer(2), rows.text(3), rows.text(4),
                          rows.optionalText(5), rows.optionalText(6), rows.optionalText(7),
                          rows.integer(8) != 0, rows.optionalText(9)});
    return result;
}

bool Store::setTodoStatus(const std::string& scope, const std::string& id, const std::string& status) {
    const std::lock_guard lock(m_mutex);
    m_db.prepare("UPDATE todos SET status = ? WHERE scope = ? AND id = ?").bind(status, scope, id).run();
    return m_db.changes() > 0;
}

std::int64_t Store::addTask(const std::string& scope, const NewTask& task) {
    const std::lock_guard lock(m_mutex);
    return insertTodo(scope, task);
}

std::int64_t Store::insertTodo(const std::string& scope, const NewTask& task) {
    Statement next = m_db.prepare("SELECT COALESCE(MAX(n), 0) + 1 FROM todos WHERE scope = ?");
    next.bind(scope).step();
    const std::int64_t n = next.integer(0);
    m_db.prepare("INSERT INTO todos (scope, id, numeric_id, n, title, status, notes, inbox, source) "
                 "VALUES (?, ?, 1, ?, ?, 'open', ?, ?, ?)")
        .bind(scope, std::to_string(n), n, task.title, task.notes, int(task.inbox), task.source)
        .run();
    return n;
}

void Store::saveWorkday(const std::string& scope, const std::string& day, const std::string& spans,
                        int spanCount) {
    const std::lock_guard lock(m_mutex);
    m_db.prepare("INSERT OR REPLACE INTO workdays VALUES (?, ?, ?, ?)")
        .bind(scope, day, spans, spanCount)
        .run();
}

std::int64_t Store::workdaySpanCount(const std::string& scope, const std::string& day) {
    const std::lock_guard lock(m_mutex);
    Statement row = m_db.prepare("SELECT span_count FROM workdays WHERE scope = ? AND day = ?");
    return row.bind(scope, day).step() ? row.integer(0) : 0;
}

void Store::startWrap(const std::string& scope, const std::string& day) {
    const std::lock_guard lock(m_mutex);
    m_db.prepare("INSERT OR REPLACE INTO wraps (scope, day, polls) VALUES (?, ?, 0)").bind(scope, day).run();
}

std::optional<std::int64_t> Store::pollWrap(const std::string& scope, const std::string& day) {
    const std::lock_guard lock(m_mutex);
    Statement row =
        m_db.prepare("UPDATE wraps SET polls = polls + 1 WHERE scope = ? AND day = ? RETURNING polls");
    if (!row.bind(scope, day).step()) return std::nullopt;
    return row.integer(0);
}

void Store::addFollowUps(const std::string& scope, const std::string& day,
                         const std::vector<std::string>& titles) {
    const std::lock_guard lock(m_mutex);
    Transaction transaction(m_db);
    m_db.prepare("UPDATE wraps SET followed_up = 1 WHERE scope = ? AND day = ? AND followed_up = 0")
        .bind(scope, day)
        .run();
    if (m_db.changes() == 0) return;
    for (const std::string& title : titles)
        insertTodo(scope, {.title = title, .inbox = true});
    transaction.commit();
}

std::int64_t Store::createCall(const std::string& scope, const std::string& fields) {
    const std::lock_guard lock(m_mutex);
    m_db.prepare("INSERT INTO calls (scope, fields, state) VALUES (?, ?, 'created')")
        .bind(scope, fields)
        .run();
    return m_db.lastInsertId();
}

namespace {
constexpr std::string_view callColumns = "number, scope, fields, state, audio_bytes, processing_since";

Store::Call readCall(const Statement& row) {
    return {row.integer(0), row.text(1), row.text(2), row.text(3), row.integer(4), row.optionalInteger(5)};
}
} // namespace

std::optional<Store::Call> Store::call(const std::string& scope, std::int64_t number) {
    const std::lock_guard lock(m_mutex);
    Statement row =
        m_db.prepare("SELECT " + std::string(callColumns) + " FROM calls WHERE scope = ? AND number = ?");
    if (!row.bind(scope, number).step()) return std::nullopt;
    return readCall(row);
}

std::vector<Store::Call> Store::calls() {
    const std::lock_guard lock(m_mutex);
    Statement rows = m_db.prepare("SELECT " + std::string(callColumns) + " FROM calls ORDER BY number");
    std::vector<Call> result;
    while (rows.step())
        result.push_back(readCall(rows));
    return result;
}

void Store::setCallAudio(std::int64_t number, std::int64_t bytes) {
    const std::lock_guard lock(m_mutex);
    m_db.prepare("UPDATE calls SET audio_bytes = ?, state = 'uploaded' WHERE number = ?")
        .bind(bytes, number)
        .run();
}

void Store::startProcessing(std::int64_t number, std::int64_t now) {
    const std::lock_guard lock(m_mutex);
    m_db.prepare("UPDATE calls SET state = 'processing', processing_since = ? WHERE number = ?")
        .bind(now, number)
        .run();
}

void Store::setCallState(std::int64_t number, const std::string& state) {
    const std::lock_guard lock(m_mutex);
    m_db.prepare("UPDATE calls SET state = ? WHERE number = ?").bind(state, number).run();
}

std::int64_t Store::moveCall(std::int64_t number, const std::string& scope) {
    const std::lock_guard lock(m_mutex);
    Transaction transaction(m_db);
    m_db.prepare("INSERT INTO calls (scope, fields, state, audio_bytes, processing_since) "
                 "SELECT ?, fields, state, audio_bytes, processing_since FROM calls WHERE number = ?")
        .bind(scope, number)
        .run();
    const std::int64_t moved = m_db.lastInsertId();
    m_db.prepare("DELETE FROM calls WHERE number = ?").bind(number).run();
    transaction.commit();
    return moved;
}

std::map<std::string, std::string> Store::decidedSuggestions(std::int64_t call) {
    const std::lock_guard lock(m_mutex);
    Statement rows = m_db.prepare("SELECT id, state FROM suggestions WHERE call = ?");
    rows.bind(call);
    std::map<std::string, std::string> states;
    while (rows.step())
        states.emplace(rows.text(0), rows.text(1));
    return states;
}

std::string Store::decideSuggestion(const Call& call, const Suggestion& suggestion, Decision decision) {
    const std::lock_guard lock(m_mutex);
    Transaction transaction(m_db);
    std::string state = suggestion.state;
    if (Statement decided = m_db.prepare("SELECT state FROM suggestions WHERE call = ? AND id = ?");
        decided.bind(call.number, suggestion.id).step())
        state = decided.text(0);
    if (state != "open") return state;
    state = stateAfter(decision);
    m_db.prepare("INSERT INTO suggestions VALUES (?, ?, ?)").bind(call.number, suggestion.id, state).run();
    if (decision == Decision::Accept) insertTodo(call.scope, {.title = suggestion.title});
    transaction.commit();
    return state;
}

Store::DeviceGrant Store::startDevice(const std::string& client, const std::string& name, std::int64_t now,
                                      std::int64_t lifetime) {
    const std::lock_guard lock(m_mutex);
    Transaction transaction(m_db);
    m_db.prepare("INSERT INTO devices (client, name, state, expires_at) VALUES (?, ?, ?, ?)")
        .bind(client, name, int(DeviceState::Pending), now + lifetime)
        .run();
    const std::int64_t n = m_db.lastInsertId();
    m_db.prepare("UPDATE devices SET device_code = ?, user_code = ? WHERE number = ?")
        .bind(DeviceCodes::deviceCode(n), DeviceCodes::userCode(n), n)
        .run();
    transaction.commit();
    return {n,
            DeviceCodes::deviceCode(n),
            DeviceCodes::userCode(n),
            DeviceState::Pending,
            now + lifetime,
            std::nullopt,
            std::nullopt};
}

std::optional<Store::DeviceGrant> Store::deviceByCode(const std::string& deviceCode) {
    const std::lock_guard lock(m_mutex);
    Statement row =
        m_db.prepare("SELECT number, device_code, user_code, state, expires_at, key, account FROM devices "
                     "WHERE device_code = ?");
    if (!row.bind(deviceCode).step()) return std::nullopt;
    return DeviceGrant{
        row.integer(0), row.text(1),         row.text(2),           DeviceState(row.integer(3)),
        row.integer(4), row.optionalText(5), row.optionalInteger(6)};
}

std::optional<std::int64_t> Store::pendingDevice(const std::string& userCode) {
    Statement row = m_db.prepare("SELECT number FROM devices WHERE user_code = ? AND state = ?");
    if (!row.bind(userCode, int(DeviceState::Pending)).step()) return std::nullopt;
    return row.integer(0);
}

bool Store::approveDevice(const std::string& userCode, std::int64_t account) {
    const std::lock_guard lock(m_mutex);
    const std::optional<std::int64_t> n = pendingDevice(userCode);
    if (!n) return false;
    const std::string key = DeviceCodes::accountKey(*n);
    Transaction transaction(m_db);
    m_db.prepare("INSERT INTO account_keys VALUES (?, ?)").bind(key, account).run();
    m_db.prepare("UPDATE devices SET state = ?, key = ?, account = ? WHERE number = ?")
        .bind(int(DeviceState::Approved), key, account, *n)
        .run();
    transaction.commit();
    return true;
}

bool Store::denyDevice(const std::string& userCode) {
    const std::lock_guard lock(m_mutex);
    const std::optional<std::int64_t> n = pendingDevice(userCode);
    if (n)
        m_db.prepare("UPDATE devices SET state = ? WHERE number = ?")
            .bind(int(DeviceState::Denied), *n)
            .run();
    return n.has_value();
}

void Store::addAppToken(const std::string& token, const AppToken& grant, std::int64_t expiresAt) {
    const std::lock_guard lock(m_mutex);
    m_db.prepare("INSERT INTO app_tokens VALUES (?, ?, ?, ?)")
        .bind(token, grant.account, grant.next, expiresAt)
        .run();
}

std::optional<Store::AppToken> Store::redeemAppToken(const std::string& token, std::int64_t now) {
    const std::lock_guard lock(m_mutex);
    Statement row =
        m_db.prepare("DELETE FROM app_tokens WHERE token = ? RETURNING account, next, expires_at");
    if (!row.bind(token).step()) return std::nullopt;
    if (now > row.integer(2)) return std::nullopt;
    return AppToken{row.integer(0), row.optionalText(1)};
}

void Store::addWebSession(const WebSession& session) {
    const std::lock_guard lock(m_mutex);
    m_db.prepare("INSERT INTO web_sessions (id, account, via) VALUES (?, ?, ?)")
        .bind(session.id, session.account, session.via)
        .run();
}

std::optional<std::int64_t> Store::webSessionAccount(const std::string& id) {
    const std::lock_guard lock(m_mutex);
    Statement row = m_db.prepare("SELECT account FROM web_sessions WHERE id = ?");
    if (!row.bind(id).step()) return std::nullopt;
    return row.integer(0);
}

void Store::endWebSession(const std::string& id) {
    const std::lock_guard lock(m_mutex);
    m_db.prepare("DELETE FROM web_sessions WHERE id = ?").bind(id).run();
}

std::vector<Store::WebSession> Store::webSessions() {
    const std::lock_guard lock(m_mutex);
    Statement rows = m_db.prepare("SELECT id, account, via FROM web_sessions ORDER BY number");
    std::vector<WebSession> result;
    while (rows.step())
        result.push_back({rows.text(0), rows.integer(1), rows.text(2)});
    return result;
}
