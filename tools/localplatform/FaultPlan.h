#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

// Failures that tests ask for: the next `count` requests that match answer this way instead of the real
// route.
struct Fault {
    std::string method; // empty: any method
    std::string path;   // exact, or a prefix when it ends in "*"
    int status = 0;     // 0: the real answer, after the delay
    std::string body;
    std::string contentType = "application/json";
    std::chrono::milliseconds delay{0};
    int count = 1;
    // The answer waits until a request to this path (exact, or a prefix ending in "*") has arrived, for at
    // most holdLimit, else it is a 504: a test sees two requests under way at once without timing them.
    std::string holdUntil;
    static constexpr std::chrono::seconds holdLimit{10};

    bool matches(const std::string& requestMethod, const std::string& requestPath) const;
};

// A path against a pattern: exact, or a prefix when the pattern ends in "*".
bool pathMatches(std::string_view pattern, const std::string& path);

class FaultPlan {
public:
    void add(Fault fault);
    // The first fault that matches, used up by one; nothing when none does.
    std::optional<Fault> take(const std::string& method, const std::string& path);
    void clear();

private:
    std::mutex m_mutex;
    std::vector<Fault> m_faults;
};
