#pragma once

#include "WrapScript.h"

#include <QJsonValue>

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

    // A destination without live tips answers 404 on them, as an older server does.
    bool coachClosed() const { return m_coachClosed; }
    void setCoachClosed(bool closed) { m_coachClosed = closed; }

    // The "next_after_s" of every live-tip answer: a number, or anything else a faulty server might send;
    // null leaves it out.
    QJsonValue coachNextAfter() const {
        const std::lock_guard lock(m_coachMutex);
        return m_coachNextAfter;
    }
    void setCoachNextAfter(QJsonValue value) {
        const std::lock_guard lock(m_coachMutex);
        m_coachNextAfter = std::move(value);
    }

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
        m_coachClosed = false;
        setCoachNextAfter(defaultCoachNextAfter);
    }

private:
    static constexpr double defaultCoachNextAfter = 30;

    std::atomic<bool> m_personalClosed = false;
    std::atomic<bool> m_coachClosed = false;
    mutable std::mutex m_coachMutex;
    QJsonValue m_coachNextAfter = defaultCoachNextAfter;
    std::atomic<bool> m_personalTasksClosed = false;
    std::atomic<std::int64_t> m_reviewDelayMs = defaultReviewDelay.count();
    mutable std::mutex m_wrapMutex;
    WrapScript m_wrapScript;
};
