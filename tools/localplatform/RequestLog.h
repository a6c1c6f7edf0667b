#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

// What arrived, in order of arrival, so that tests can check the headers a client sent.
class RequestLog {
public:
    struct Entry {
        std::string method;
        std::string path;
        std::vector<std::pair<std::string, std::string>> headers;
        std::uint64_t bodySize = 0;
    };

    // Logged when it arrives; the body's size follows once it has been read.
    std::size_t add(Entry entry);
    void setBodySize(std::size_t index, std::uint64_t size);
    std::vector<Entry> entries();
    void clear();
    // Waits until a logged request's path matches `pattern` (see pathMatches); false after `limit`.
    bool waitFor(const std::string& pattern, std::chrono::milliseconds limit);

private:
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::vector<Entry> m_entries;
    std::size_t m_cleared = 0; // entries dropped by clear(), so indices handed out before stay harmless
};
