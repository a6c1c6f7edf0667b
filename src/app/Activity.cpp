// The activity tick: every 15 seconds the coach sees the user's activity.
#include "app/AppDelegate.h"

#include "app/Services.h"
#include "workday/Coach.h"
#include "workday/Idle.h"

void AppDelegate::activityTick() {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const double idle = Idle::seconds(*m_services.idle);
    // The coach sees every tick, whatever comes next, so the streak is kept also while recording.
    coach().activity(idle, now, m_services.settings->breakMinutes());
}
