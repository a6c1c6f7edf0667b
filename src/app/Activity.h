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
// most one reminder shows, in the order break, workout, end of day. The work day goes up to the home
// destination at most every 15 minutes.
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
        // Reminders wait while something is recorded or starts to be.
        std::function<bool()> recording = [] { return false; };
        // ... and while a call goes on that nobody records: the reminder comes once it ends.
        std::function<bool()> inCall = [] { return false; };
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
    // "End my day" in the end-of-day reminder.
    void endDayWanted();

private:
    // Whether a reminder may come now.
    bool quiet(double idle) const;
    QCoro::Task<> uploadWorkday(API home);
    void showBreakNudge();
    void showWorkoutNudge();
    void showWrapNudge();
    // "Later" of a daily reminder: once more today, in half an hour.
    std::function<void()> later(const QString& reminder);

    Settings& m_settings;
    QSettings& m_defaults;
    Nudges& m_nudges;
    os::IdleSource& m_idle;
    WorkdayTracker& m_tracker;
    Clock m_now;
    std::function<bool()> m_recording;
    std::function<bool()> m_inCall;
    std::unique_ptr<Coach> m_coach; // made on first use
    QDateTime m_lastWorkdayUpload;
    QTimer m_timer;
};
