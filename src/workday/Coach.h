#pragma once

#include "core/Clock.h"

#include <QDateTime>
#include <QSettings>
#include <QStringList>
#include <optional>

// When a break is due, the once-a-day reminders, and the rotation of break tips. Fed by the activity tick.
class Coach {
public:
    static inline const QStringList tips = {
        QStringLiteral("Stand up and stretch for a minute."),
        QStringLiteral("Get a glass of water."),
        QStringLiteral("Walk for 5 minutes, away from the screen."),
        QStringLiteral("Look at something far away for 20 seconds."),
        QStringLiteral("Roll your shoulders and unclench your jaw."),
    };

    Coach(QSettings& defaults, Clock clock = systemNow);

    // One observation of the user's activity; true when a break is due now.
    bool activity(double idle, const QDateTime& now, int breakMinutes);
    // Whole minutes since the stretch began; 0 without one.
    int activeMinutes() const;
    void tookBreak();
    void snooze(int minutes);
    // The next tip; the rotation is stored, so it goes on after a restart.
    QString nextTip();

    // Daily reminders by name ("workout", "wrap") at a minute of the day.
    bool due(const QString& name, int minute, const QDateTime& now) const;
    void markShown(const QString& name);
    void snoozeReminder(const QString& name, int minutes);
    void clearShown(const QString& name);

private:
    QSettings& m_d;
    Clock m_clock;
    std::optional<QDateTime> m_streakStart;
    std::optional<QDateTime> m_snoozeUntil;
    int m_tip = 0;
};
