#include "core/SerialQueue.h"

#include <pthread.h>

SerialQueue::SerialQueue(QString label) : m_label(std::move(label)), m_thread([this] { run(); }) {
    // The label shows in debuggers and in `top -H`; Linux keeps 15 bytes of it.
    pthread_setname_np(m_thread.native_handle(), m_label.toUtf8().left(15).constData());
}

SerialQueue::~SerialQueue() {
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void SerialQueue::async(std::function<void()> job) {
    {
        const std::lock_guard lock(m_mutex);
        m_jobs.push_back(std::move(job));
    }
    m_wake.notify_one();
}

void SerialQueue::after(double seconds, std::function<void()> job) {
    const auto due =
        std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                               std::chrono::duration<double>(seconds));
    {
        const std::lock_guard lock(m_mutex);
        m_timed.emplace(due, std::move(job));
    }
    m_wake.notify_one();
}

void SerialQueue::sync(const std::function<void()>& job) {
    if (isCurrent()) {
        job();
        return;
    }
    std::mutex doneMutex;
    std::condition_variable doneWake;
    bool done = false;
    async([&] {
        job();
        const std::lock_guard lock(doneMutex);
        done = true;
        doneWake.notify_one();
    });
    std::unique_lock lock(doneMutex);
    doneWake.wait(lock, [&] { return done; });
}

void SerialQueue::run() {
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock lock(m_mutex);
            for (;;) {
                if (!m_timed.empty() && m_timed.begin()->first <= std::chrono::steady_clock::now()) {
                    // A job that fell due joins the end of the line.
                    m_jobs.push_back(std::move(m_timed.begin()->second));
                    m_timed.erase(m_timed.begin());
                    continue;
                }
                if (!m_jobs.empty() || m_stopping) break;
                if (m_timed.empty())
                    m_wake.wait(lock);
                else
                    m_wake.wait_until(lock, m_timed.begin()->first);
            }
            if (m_jobs.empty()) return; // stopping, and nothing left to run
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        job();
    }
}
