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
            m_wake.wait(lock, [this] { return m_stopping || !m_jobs.empty(); });
            if (m_jobs.empty())
                return; // stopping, and nothing left to run
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        job();
    }
}
