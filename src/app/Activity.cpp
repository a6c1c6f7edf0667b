#include "app/Activity.h"

#include "core/Log.h"
#include "server/Settings.h"
#include "surfaces/Nudges.h"
#include "workday/Coach.h"
#include "workday/Idle.h"
#include "workday/WorkdayTracker.h"

#include <QPointer>

using namespace std::chrono_literals;

Activity::Activity(Needs needs, QObject* parent)
    : QObject(parent), m_settings(needs.settings), m_defaults(needs.defaults), m_nudges(needs.nudges),
      m_idle(needs.idle), m_tracker(needs.tracker), m_now(std::move(needs.now)),
      m_recording(std::move(needs.recording)), m_inCall(std::move(needs.inCall)),
      m_lastWorkdayUpload(m_now()) {
    m_timer.setInterval(std::chrono::seconds(WorkdayTracker::interval));
    connect(&m_timer, &QTimer::timeout, this, &Activity::activityTick);
}

Activity::~Activity() = default;

void Activity::start() {
    m_timer.start();
}

Coach& Activity::coach() {
    if (!m_coach) m_coach = std::make_unique<Coach>(m_defaults, m_now);
    return *m_coach;
}

void Activity::activityTick() {
    const QDateTime now = m_now();
    const double idle = Idle::seconds(m_idle);
    if (m_settings.trackWorkday()) {
        m_tracker.sample(m_settings.includeTitles(), now);
        // A failed upload waits for the next period, like any other.
        if (m_lastWorkdayUpload.secsTo(now) >= WorkdayTracker::uploadSeconds) {
            m_lastWorkdayUpload = now;
            if (const std::optional<API> home = m_settings.homeAPI()) uploadWorkday(*home);
        }
    }
    // The coach sees every tick, whatever comes next, so the streak is kept also while recording.
    const bool due = coach().activity(idle, now, m_settings.breakMinutes());
    if (!quiet(idle)) return;
    if (m_settings.breakReminders() && due)
        showBreakNudge();
    else if (m_settings.workoutOn() &&
             coach().due(QStringLiteral("workout"), m_settings.workoutMinute(), now))
        showWorkoutNudge();
    else if (m_settings.wrapOn() && m_settings.homeAPI() &&
             coach().due(QStringLiteral("wrap"), m_settings.wrapMinute(), now))
        showWrapNudge();
}

bool Activity::quiet(double idle) const {
    return !m_recording() && !m_inCall() && !m_nudges.showing() && idle < Idle::threshold;
}

QCoro::Task<> Activity::uploadWorkday(API home) {
    const QPointer<Activity> self(this);
    try {
        auto sent = m_tracker.upload(home);
        const qsizetype count = co_await std::move(sent);
        slog(QStringLiteral("workday uploaded (%1 spans)").arg(count));
    } catch (const APIError& error) {
        slog(QStringLiteral("workday upload: ") + error.errorDescription());
    }
    // The tracker keeps the outcome, which the menu shows.
    if (self) emit self->workdayUploaded();
}

void Activity::showBreakNudge() {
    Coach& c = coach();
    const auto inTen = [&c] { c.snooze(10); };
    m_nudges.show({.kind = QStringLiteral("break"),
                   .priority = 1,
                   .title = QStringLiteral("Time for a break \u2014 %1 min straight").arg(c.activeMinutes()),
                   .message = c.nextTip(),
                   .buttons = {{QStringLiteral("In 10 min"), false, inTen},
                               {QStringLiteral("Taking it"), true, [&c] { c.tookBreak(); }}},
                   .timeout = 180s,
                   .onTimeout = inTen});
}

void Activity::showWorkoutNudge() {
    coach().markShown(QStringLiteral("workout"));
    m_nudges.show(
        {.kind = QStringLiteral("workout"),
         .priority = 1,
         .title = QStringLiteral("Workout time"),
         .message = QStringLiteral("Move your body for a bit \u2014 the to-dos will still be here."),
         .buttons = {{QStringLiteral("In 30 min"), false, later(QStringLiteral("workout"))},
                     {QStringLiteral("On it"), true, [] {}}},
         .timeout = 300s});
}

void Activity::showWrapNudge() {
    coach().markShown(QStringLiteral("wrap"));
    const QPointer<Activity> self(this);
    m_nudges.show(
        {.kind = QStringLiteral("wrap"),
         .priority = 1,
         .title = QStringLiteral("End your day?"),
         .message = QStringLiteral("Orvane summarises today and adds the follow-ups to your inbox."),
         .buttons = {{QStringLiteral("Later"), false, later(QStringLiteral("wrap"))},
                     {QStringLiteral("End my day"), true,
                      [self] {
                          if (self) emit self->endDayWanted();
                      }}},
         .timeout = 600s});
}

std::function<void()> Activity::later(const QString& reminder) {
    return [self = QPointer<Activity>(this), reminder] {
        if (!self) return;
        self->coach().clearShown(reminder);
        self->coach().snoozeReminder(reminder, 30);
    };
}
