#include "RequestLog.h"

std::size_t RequestLog::add(Entry entry) {
    const std::lock_guard lock(m_mutex);
    m_entries.push_back(std::move(entry));
    return m_cleared + m_entries.size() - 1;
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
