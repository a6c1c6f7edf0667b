#include "FaultPlan.h"

#include <algorithm>

bool Fault::matches(const std::string& requestMethod, const std::string& requestPath) const {
    if (!method.empty() && method != requestMethod) return false;
    if (!path.empty() && path.back() == '*')
        return requestPath.starts_with(std::string_view(path).substr(0, path.size() - 1));
    return path == requestPath;
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
