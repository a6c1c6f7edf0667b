#include "FaultPlan.h"

#include <algorithm>

bool pathMatches(std::string_view pattern, const std::string& path) {
    if (!pattern.empty() && pattern.back() == '*')
        return path.starts_with(pattern.substr(0, pattern.size() - 1));
    return pattern == path;
}

bool Fault::matches(const std::string& requestMethod, const std::string& requestPath) const {
    if (!method.empty() && method != requestMethod) return false;
    return pathMatches(path, requestPath);
}

void FaultPlan::add(Fault fault) {
    const std::lock_guard lock(m_mutex);
    m_faults.push_back(std::move(fault));
}

std::optional<Fault> FaultPlan::take(const std::string& method, const std::string& path) {
    const std::lock_guard lock(m_mutex);
    const auto found = std::find_if(m_faults.begin(), m_faults.end(),
                                    [&](const Fault& f) { return f.matches(method, path); });
    if (found == m_faults.end()) return std::nullopt;
    Fault taken = *found;
    if (--found->count <= 0) m_faults.erase(found);
    return taken;
}

void FaultPlan::clear() {
    const std::lock_guard lock(m_mutex);
    m_faults.clear();
}
