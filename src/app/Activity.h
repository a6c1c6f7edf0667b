#pragma once

#include "core/Clock.h"
#include "server/API.h"

#include <QCoroTask>
#include <QDateTime>
#include <QObject>
#include <QTimer>
#include <functional>
#include <memory>

class Coach;
class Nudges;
class QSettings;
class Settings;
class WorkdayTracker;
namespace os {
class IdleSource;
}

// The activity tick: every 15 seconds the work day is sampled, the coach sees the user's activity, and at
// most one reminder shows. The work day goes up to the home destination at most every 15 minutes.
class Activity : public QObject {
    Q_OBJECT
public:
    struct Needs {
        Settings& settings;
        QSettings& defaults; // the coach's memory
        Nudges& nudges;
        os::IdleSource& idle;
        WorkdayTracker& tracker;
        Clock now;
        // Reminders wait while something is recorded.
        std::function<bool()> recording = [] { return false; };
    };
    explicit Activity(Needs needs, QObject* parent = nullptr);
    ~Activity() override;

    // Starts the timer; the first tick comes one interval later.
    void start();
    void activityTick();
    Coach& coach();
    // A work-day upload made elsewhere (the end of the day) restarts the wait for the next one.
    void noteWorkdayUpload(const QDateTime& at) { m_lastWorkdayUpload = at; }

signals:
    void workdayUploaded();

private:
    QCoro::Task<> uploadWorkday(API home);
    void showBreakNudge();
    void showWorkoutNudge();

    Settings& m_settings;
    QSettings& m_defaults;
    Nudges& m_nudges;
    os::IdleSource& m_idle;
    WorkdayTracker& m_tracker;
    Clock m_now;
    std::function<bool()> m_recording;
    std::unique_ptr<Coach> m_coach; // made on first use
    QDateTime m_lastWorkdayUpload;
    QTimer m_timer;
};
