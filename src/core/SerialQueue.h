#pragma once

#include <QString>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

// A worker thread that runs jobs one after another, in the order they were queued. It needs no Qt event loop,
// so it keeps working while the application object is gone, as during static destruction at exit.
class SerialQueue {
public:
    explicit SerialQueue(QString label);
    // Runs every job queued so far, then ends the thread; timed jobs that are not due yet are dropped.
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    const QString& label() const { return m_label; }
    // Queues a job and returns at once.
    void async(std::function<void()> job);
    // Queues a job to run once `seconds` have passed, after the jobs that are waiting then.
    void after(double seconds, std::function<void()> job);
    // Runs a job on the queue and waits for it; on the queue's own thread it runs inline, so it never
    // deadlocks.
    void sync(const std::function<void()>& job);
    bool isCurrent() const { return std::this_thread::get_id() == m_thread.get_id(); }

private:
    void run();

    QString m_label;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_jobs;
    std::multimap<std::chrono::steady_clock::time_point, std::function<void()>> m_timed;
    bool m_stopping = false;
    std::thread m_thread;
};
