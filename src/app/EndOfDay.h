#pragma once

#include "core/Clock.h"
#include "server/API.h"

#include <QCoroTask>
#include <QObject>
#include <chrono>
#include <functional>
#include <memory>

class Browser;
class Settings;
class WindowBox;
class WorkdayTracker;
class WrapModel;

// "End my day": the day's activity goes up to the home destination, the server is asked to write the day's
// summary and is polled until it has, and the result shows in the end-of-day window. Each run has a model of
// its own, shared by its task and its window's view: closing the window leaves the run going, and a second
// run takes the window over while the first writes on to a model that nothing shows any more.
class EndOfDay : public QObject {
    Q_OBJECT
public:
    using Sleeper = std::function<QCoro::Task<>(std::chrono::milliseconds)>;

    struct Needs {
        Settings& settings;
        WorkdayTracker& tracker;
        WindowBox& windows;
        Browser& browser;
        Clock now;
        // The wait between polls: a timer in the program, nothing in the flow's tests.
        Sleeper sleep;
    };

    static constexpr std::chrono::seconds pollInterval{5};
    // 7 minutes of polls in all.
    static constexpr int pollLimit = 84;
    // Polls that answer "none" while the server registers the job.
    static constexpr int registerPolls = 3;

    explicit EndOfDay(Needs needs, QObject* parent = nullptr);

    // Opens the window on a new run and starts it; without a home destination, asks for the settings.
    void wrapUp();
    // The model of the latest run while anything still holds it.
    std::shared_ptr<WrapModel> model() const { return m_latest.lock(); }

    // The real wait between polls.
    static QCoro::Task<> timerSleep(std::chrono::milliseconds duration);

signals:
    // There is no home destination to end the day with.
    void settingsWanted();
    void workdayUploaded(const QDateTime& at);

private:
    QCoro::Task<> run(std::shared_ptr<WrapModel> model, API api, QString day);

    Settings& m_settings;
    WorkdayTracker& m_tracker;
    WindowBox& m_windows;
    Browser& m_browser;
    Clock m_now;
    Sleeper m_sleep;
    std::weak_ptr<WrapModel> m_latest;
};
