#pragma once

#include "WrapScript.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>

// The platform's states that tests set through the control routes. Read by every worker thread.
class Switches {
public:
    // Long enough that a client sees a processed call without its review first, short enough for a live run.
    static constexpr std::chrono::milliseconds defaultReviewDelay{2000};

    // A closed Personal answers 404 on its calls, as before the account's Personal space opens.
    bool personalClosed() const { return m_personalClosed; }
    void setPersonalClosed(bool closed) { m_personalClosed = closed; }

    // Personal without its task route answers 404 on POST /tasks, as before Personal takes tasks; its calls
    // and to-dos stay open.
    bool personalTasksClosed() const { return m_personalTasksClosed; }
    void setPersonalTasksClosed(bool closed) { m_personalTasksClosed = closed; }

    // How long after the processing starts the review is there.
    std::chrono::milliseconds reviewDelay() const {
        return std::chrono::milliseconds(m_reviewDelayMs.load());
    }
    void setReviewDelay(std::chrono::milliseconds delay) { m_reviewDelayMs = delay.count(); }

    // How every destination's end-of-day jobs go.
    WrapScript wrapScript() const {
        const std::lock_guard lock(m_wrapMutex);
        return m_wrapScript;
    }
    void setWrapScript(WrapScript script) {
        const std::lock_guard lock(m_wrapMutex);
        m_wrapScript = std::move(script);
    }

    void reset() {
        m_personalClosed = false;
        m_personalTasksClosed = false;
        m_reviewDelayMs = defaultReviewDelay.count();
        setWrapScript({});
    }

private:
    std::atomic<bool> m_personalClosed = false;
    std::atomic<bool> m_personalTasksClosed = false;
    std::atomic<std::int64_t> m_reviewDelayMs = defaultReviewDelay.count();
    mutable std::mutex m_wrapMutex;
    WrapScript m_wrapScript;
};
