#pragma once

#include "Database.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

// The platform's state in one SQLite file, seeded at first start. Every method is one locked unit of work,
// so the server's worker threads may call in at once.
class Store {
public:
    struct Account {
        std::int64_t id = 0;
        std::string email;
        std::string name;
    };
    struct Membership {
        std::string slug;
        std::string name;
        std::string seat;
    };
    struct LegacyWorkspace {
        std::string name;
        std::string key;
        std::string ego;
    };
    struct Todo {
        std::string id;
        bool numericId = false;
        std::int64_t n = 0;
        std::string title;
        std::string status;
        std::optional<std::string> topic;
        std::optional<std::string> effort;
        std::optional<std::string> notes;
        bool inbox = false;
        std::optional<std::string> source;
    };
    // A to-do as a client or the platform adds it.
    struct NewTask {
        std::string title;
        std::optional<std::string> notes;
        bool inbox = false;
        std::optional<std::string> source;
    };
    enum class Which { Open, All };
    struct Project {
        std::string slug;
        std::string name;
        std::vector<std::string> members; // the people of the team, by first name
    };
    struct Call {
        std::int64_t number = 0;
        std::string scope;
        std::string fields; // the JSON object the client created it with
        std::string state;  // created, uploaded, processing, done
        std::int64_t audioBytes = 0;
        std::optional<std::int64_t> processingSince; // milliseconds since the epoch
    };
    // A suggestion of a call's review, as the review first gives it.
    struct Suggestion {
        std::string id;
        std::string title;
        std::string state; // open, accepted or dismissed
    };
    enum class Decision { Accept, Dismiss };
    static std::string stateAfter(Decision decision) {
        return decision == Decision::Accept ? "accepted" : "dismissed";
    }
    enum class DeviceState { Pending, Approved, Denied };
    struct DeviceGrant {
        std::int64_t number = 0;
        std::string deviceCode;
        std::string userCode;
        DeviceState state = DeviceState::Pending;
        std::int64_t expiresAt = 0; // seconds since the epoch
        std::optional<std::string> key;
        std::optional<std::int64_t> accountId;
    };

    // A signed-in browser: `id` is its cookie's value; `via` says how it signed in ("form" or
    // "app-session").
    struct WebSession {
        std::string id;
        std::int64_t account = 0;
        std::string via;
    };
    // What a one-time web login was issued for.
    struct AppToken {
        std::int64_t account = 0;
        std::optional<std::string> next;
    };

    explicit Store(const std::string& file);

    // Back to the seed, as at first start.
    void reset();

    std::optional<Account> accountForKey(const std::string& key);
    std::optional<Account> accountByEmail(const std::string& email);
    std::optional<Account> account(std::int64_t id);
    std::vector<Membership> memberships(std::int64_t account);
    bool projectExists(const std::string& slug);
    std::optional<Project> project(const std::string& slug);
    std::optional<LegacyWorkspace> legacyWorkspace(const std::string& name);

    // Oldest first.
    std::vector<Todo> todos(const std::string& scope, Which which = Which::Open);
    bool setTodoStatus(const std::string& scope, const std::string& id, const std::string& status);
    // A new open to-do; its number is its id.
    std::int64_t addTask(const std::string& scope, const NewTask& task);

    void saveWorkday(const std::string& scope, const std::string& day, const std::string& spans,
                     int spanCount);
    std::int64_t workdaySpanCount(const std::string& scope, const std::string& day);
    void startWrap(const std::string& scope, const std::string& day);
    // How often the wrap was asked about before, counting this time; nothing when it was never started.
    std::optional<std::int64_t> pollWrap(const std::string& scope, const std::string& day);
    // The follow-ups of the day's job as open to-dos in the inbox, once per job.
    void addFollowUps(const std::string& scope, const std::string& day,
                      const std::vector<std::string>& titles);

    std::int64_t createCall(const std::string& scope, const std::string& fields);
    std::optional<Call> call(const std::string& scope, std::int64_t number);
    // Every call of every destination, oldest first.
    std::vector<Call> calls();
    void setCallAudio(std::int64_t number, std::int64_t bytes);
    void startProcessing(std::int64_t number, std::int64_t now);
    void setCallState(std::int64_t number, const std::string& state);
    // The call under a new number in another scope; the old number is gone.
    std::int64_t moveCall(std::int64_t number, const std::string& scope);

    // The states of a call's suggestions decided since its review, by suggestion id.
    std::map<std::string, std::string> decidedSuggestions(std::int64_t call);
    // The suggestion's state afterwards: the decision's, or a contrary one taken before, which stays. The
    // first acceptance adds the suggestion's to-do to the call's scope in the same unit of work.
    std::string decideSuggestion(const Call& call, const Suggestion& suggestion, Decision decision);

    DeviceGrant startDevice(const std::string& client, const std::string& name, std::int64_t now,
                            std::int64_t lifetime);
    std::optional<DeviceGrant> deviceByCode(const std::string& deviceCode);
    // An approval issues a key of the account. Both are false for a code that is unknown or already decided.
    bool approveDevice(const std::string& userCode, std::int64_t account);
    bool denyDevice(const std::string& userCode);

    void addAppToken(const std::string& token, const AppToken& grant, std::int64_t expiresAt);
    // The token's grant, once: redeeming removes it, and one past its time grants nothing.
    std::optional<AppToken> redeemAppToken(const std::string& token, std::int64_t now);

    void addWebSession(const WebSession& session);
    std::optional<std::int64_t> webSessionAccount(const std::string& id);
    void endWebSession(const std::string& id);
    // Oldest first.
    std::vector<WebSession> webSessions();

private:
    void createAndSeed();
    std::optional<Account> findAccount(std::string_view sql, const auto& value);
    std::optional<std::int64_t> pendingDevice(const std::string& userCode);
    std::int64_t insertTodo(const std::string& scope, const NewTask& task);

    std::mutex m_mutex;
    Database m_db;
};
