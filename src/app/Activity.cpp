// The activity tick: every 15 seconds the work day is sampled, the coach sees the user's activity, and at most one
// reminder shows.
#include "app/AppDelegate.h"

#include "app/Services.h"
#include "core/Log.h"
#include "surfaces/Nudges.h"
#include "workday/Coach.h"
#include "workday/Idle.h"
#include "workday/WorkdayTracker.h"


using namespace std::chrono_literals;

void AppDelegate::activityTick() {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const double idle = Idle::seconds(*m_services.idle);
    const Settings& settings = *m_services.settings;
    if (settings.trackWorkday()) {
        m_tracker->sample(settings.includeTitles(), now);
        // A failed upload waits for the next period, like any other.
        if (m_lastWorkdayUpload.secsTo(now) >= WorkdayTracker::uploadSeconds) {
            m_lastWorkdayUpload = now;
            uploadWorkday();
        }
    }
    const bool quiet = !m_services.nudges->showing() && idle < Idle::threshold;
    // The coach sees every tick, whatever comes next, so the streak is kept also while recording.
    const bool due = coach().activity(idle, now, settings.breakMinutes());
    if (settings.breakReminders() && due && quiet) {
        showBreakNudge();
        return;
    }
    if (settings.workoutOn() && quiet && coach().due(QStringLiteral("workout"), settings.workoutMinute(), now))
        showWorkoutNudge();
}

void AppDelegate::uploadWorkday() {
    const Settings& settings = *m_services.settings;
    const std::optional<API> home = settings.homeAPI();
    if (settings.trackWorkday() && home)
        uploadWorkday(*home);
}

QCoro::Task<> AppDelegate::uploadWorkday(API home) {
    // The tracker guards itself across the wait; nothing of the controller is touched afterwards.
    try {
        auto sent = m_tracker->upload(home);
        const qsizetype count = co_await std::move(sent);
        slog(QStringLiteral("workday uploaded (%1 spans)").arg(count));
    } catch (const APIError& error) {
        slog(QStringLiteral("workday upload: ") + error.errorDescription());
    }
}

void AppDelegate::showBreakNudge() {
    Coach& c = coach();
    const auto later = [&c] { c.snooze(10); };
    m_services.nudges->show({QStringLiteral("break"),
                    1,
                    QStringLiteral("/"),
                    QStringLiteral("Time for a break \u2014 %1 min straight").arg(c.activeMinutes()),
                    c.nextTip(),
                    {{QStringLiteral("In 10 min"), false, later},
                     {QStringLiteral("Taking it"), true, [&c] { c.tookBreak(); }}},
                    false,
                    180s,
                    later});
}

void AppDelegate::showWorkoutNudge() {
    Coach& c = coach();
    c.markShown(QStringLiteral("workout"));
    m_services.nudges->show({QStringLiteral("workout"),
                    1,
                    QStringLiteral("/"),
                    QStringLiteral("Workout time"),
                    QStringLiteral("Move your body for a bit \u2014 the to-dos will still be here."),
                    {{QStringLiteral("In 30 min"), false,
                      [&c] {
                          c.clearShown(QStringLiteral("workout"));
                          c.snoozeReminder(QStringLiteral("workout"), 30);
                      }},
                     {QStringLiteral("On it"), true, [] {}}},
                    false,
                    300s,
                    {}});
}
