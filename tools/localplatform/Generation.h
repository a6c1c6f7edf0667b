#pragma once

#include <atomic>
#include <optional>
#include <string_view>

// Which release of the platform the server plays. An "old" server predates the work day: its /workday routes
// answer 404, as a workspace that needs an update does. Switched by a control route; starts "current".
class Generation {
public:
    enum class Kind { Current, Old };

    static std::optional<Kind> parse(std::string_view name);
    void set(Kind kind) { m_kind = kind; }
    bool old() const { return m_kind == Kind::Old; }
    // Throws the 404 of a route that this release lacks.
    void requireWorkday() const;

private:
    std::atomic<Kind> m_kind{Kind::Current};
};
