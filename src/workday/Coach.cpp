#include "workday/Coach.h"

#include "core/Fmt.h"
#include "server/Settings.h"
#include "workday/Idle.h"

namespace {
QString shownKey(const QString& name) {
    return QStringLiteral("shown.") + name;
}
QString snoozeKey(const QString& name) {
    return QStringLiteral("snooze.") + name;
}
// A reminder is not shown to someone who comes back more than two hours after its time.
constexpr qint64 reminderWindow = 7200;
} // namespace

Coach::Coach(QSettings& defaults, Clock clock) : m_d(defaults), m_clock(std::move(clock)) {
    m_tip = m_d.value(QStringLiteral("coachTip"), 0).toInt();
}

bool Coach::activity(double idle, const QDateTime& now, int breakMinutes) {
    if (idle >= Idle::threshold) {
        m_streakStart.reset();
        return false;
    }
    if (!m_streakStart) m_streakStart = now.addMSecs(-qint64(idle * 1000));
    if (m_streakStart->secsTo(now) < qint64(breakMinutes) * 60) return false;
    return !(m_snoozeUntil && now < *m_snoozeUntil);
}

int Coach::activeMinutes() const {
    return m_streakStart ? int(m_streakStart->secsTo(m_clock()) / 60) : 0;
}

void Coach::tookBreak() {
    m_streakStart.reset();
    m_snoozeUntil = m_clock().addSecs(300);
}

void Coach::snooze(int minutes) {
    m_snoozeUntil = m_clock().addSecs(qint64(minutes) * 60);
}

QString Coach::nextTip() {
    const QString tip = tips.at(m_tip % tips.size());
    ++m_tip;
    m_d.setValue(QStringLiteral("coachTip"), m_tip);
    return tip;
}

bool Coach::due(const QString& name, int minute, const QDateTime& now) const {
    if (m_d.value(shownKey(name)).toString() == Fmt::day(now)) return false;
    if (const auto until = Fmt::parseISOPlain(m_d.value(snoozeKey(name)).toString()); until && *until > now)
        return false;
    const QDateTime target = Settings::date(minute, now.toLocalTime().date());
    const qint64 since = target.secsTo(now);
    return since >= 0 && since < reminderWindow;
}

void Coach::markShown(const QString& name) {
    m_d.setValue(shownKey(name), Fmt::day(m_clock()));
}

void Coach::snoozeReminder(const QString& name, int minutes) {
    m_d.setValue(snoozeKey(name), Fmt::isoPlain(m_clock().addSecs(qint64(minutes) * 60)));
}

void Coach::clearShown(const QString& name) {
    m_d.remove(shownKey(name));
}
