#include "RequestLog.h"

#include "FaultPlan.h"

#include <algorithm>

std::size_t RequestLog::add(Entry entry) {
    const std::lock_guard lock(m_mutex);
    m_entries.push_back(std::move(entry));
    m_arrived.notify_all();
    return m_cleared + m_entries.size() - 1;
}

bool RequestLog::waitFor(const std::string& pattern, std::chrono::milliseconds limit) {
    std::unique_lock lock(m_mutex);
    return m_arrived.wait_for(lock, limit, [&] {
        return std::any_of(m_entries.begin(), m_entries.end(),
                           [&](const Entry& e) { return pathMatches(pattern, e.path); });
    });
}

void RequestLog::setBodySize(std::size_t index, std::uint64_t size) {
    const std::lock_guard lock(m_mutex);
    if (index >= m_cleared && index - m_cleared < m_entries.size())
        m_entries[index - m_cleared].bodySize = size;
}

std::vector<RequestLog::Entry> RequestLog::entries() {
    const std::lock_guard lock(m_mutex);
    return m_entries;
}

void RequestLog::clear() {
    const std::lock_guard lock(m_mutex);
    m_cleared += m_entries.size();
    m_entries.clear();
}
