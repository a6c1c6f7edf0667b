#include "surfaces/SettingsBehaviour.h"

#include "server/Settings.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/OVLabel.h"
#include "surfaces/design/OVSection.h"
#include "surfaces/design/OVToggle.h"

#include <QBoxLayout>
#include <QComboBox>
#include <QLocale>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTimeEdit>

namespace {
constexpr int minBreakMinutes = 5;
constexpr int maxBreakMinutes = 240;
} // namespace

QTime BehaviourSection::timeOf(int minute) {
    if (minute < 0 || minute >= 24 * 60) return {};
    return QTime(minute / 60, minute % 60);
}

int BehaviourSection::minuteOf(const QTime& time) {
    return time.hour() * 60 + time.minute();
}

BehaviourSection::BehaviourSection(Settings& settings, std::function<void()> onChange, QWidget* parent)
    : QWidget(parent), m_settings(settings), m_onChange(std::move(onChange)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(6);
    Settings& s = m_settings;
    const auto note = [](const QString& text) {
        return new OVLabel(text, OVFont::sans(9), OVLabel::Ink::tertiary);
    };
    const auto words = [](const QString& text) {
        auto* label = new OVLabel(text, OVFont::sans(10), OVLabel::Ink::text);
        label->setWordWrap(false); // beside a control on one line
        return label;
    };

    column->addWidget(new OVSection({QStringLiteral("Sessions & calls"), std::nullopt}));
    column->addWidget(toggle(
        QStringLiteral("Offer to tune in when a call starts"), [&s] { return s.offerCalls(); },
        [&s](bool on) { s.setOfferCalls(on); }));
    m_autoRecord = toggle(
        QStringLiteral("Tune in on calls automatically (a panel always shows that it is recording)"),
        [&s] { return s.autoRecordCalls(); }, [&s](bool on) { s.setAutoRecordCalls(on); });
    column->addWidget(m_autoRecord);
    column->addWidget(toggle(
        QStringLiteral("Live tips while Orvane is active (from the project, about what is on "
                       "screen)"),
        [&s] { return s.liveTips(); }, [&s](bool on) { s.setLiveTips(on); }));
    column->addWidget(toggle(
        QStringLiteral("Auto-pin slide and page changes (at most one every 2 min)"),
        [&s] { return s.autoPin(); }, [&s](bool on) { s.setAutoPin(on); }));
    column->addWidget(toggle(
        QStringLiteral("Show what Orvane hears while active (on this computer only, nothing "
                       "stored)"),
        [&s] { return s.liveHearing(); }, [&s](bool on) { s.setLiveHearing(on); }));
    column->addWidget(toggle(
        QStringLiteral("File clear team calls without asking (90%+ and people from that "
                       "project on the call)"),
        [&s] { return s.autoFileTeamCalls(); }, [&s](bool on) { s.setAutoFileTeamCalls(on); }));
    column->addWidget(
        note(QStringLiteral("After each session Orvane asks where it goes, with its suggestion "
                            "preselected. Work sessions suggest Personal (only you see it); no answer "
                            "in 2 minutes keeps it in Personal.")));

    column->addSpacing(10);
    column->addWidget(new OVSection({QStringLiteral("Work day"), std::nullopt}));
    column->addWidget(toggle(
        QStringLiteral("Track my work day (frontmost app, idle time skipped)"),
        [&s] { return s.trackWorkday(); }, [&s](bool on) { s.setTrackWorkday(on); }));
    m_includeTitles = toggle(
        QStringLiteral("Include window titles"), [&s] { return s.includeTitles(); },
        [&s](bool on) { s.setIncludeTitles(on); });
    column->addWidget(m_includeTitles);
    m_workdayPicker = new QComboBox;
    m_workdayPicker->setObjectName(QStringLiteral("workdaySlug"));
    connect(m_workdayPicker, &QComboBox::activated, this, [this](int index) {
        m_settings.setWorkdaySlug(m_workdayPicker->itemData(index).toString());
        changed();
    });
    m_shows.append([this] {
        const QSignalBlocker quiet(m_workdayPicker);
        m_workdayPicker->clear();
        const QList<Workspace>& projects = m_settings.projects();
        for (const Workspace& p : projects)
            m_workdayPicker->addItem(p.name, p.slug.value_or(QString()));
        m_workdayPicker->setEnabled(!projects.isEmpty());
        if (projects.isEmpty()) m_workdayPicker->addItem(QStringLiteral("No project yet"));
        // A slug that names no project any more shows the project the work day goes to instead: the home.
        const std::optional<Workspace> home = m_settings.projectMode() ? m_settings.home() : std::nullopt;
        const int at = home ? m_workdayPicker->findData(home->slug.value_or(QString())) : 0;
        m_workdayPicker->setCurrentIndex(std::max(at, 0));
    });
    column->addWidget(line({words(QStringLiteral("Work day and End my day go to")), m_workdayPicker}));
    column->addWidget(line({toggle(
                                QStringLiteral("End my day reminder at"), [&s] { return s.wrapOn(); },
                                [&s](bool on) { s.setWrapOn(on); }),
                            timeControl([&s] { return s.wrapMinute(); }, Settings::defaultWrapMinute,
                                        [&s](int minute) { s.setWrapMinute(minute); })}));

    column->addSpacing(10);
    column->addWidget(new OVSection({QStringLiteral("Coach"), std::nullopt}));
    auto* breakMinutes = new QSpinBox;
    breakMinutes->setObjectName(QStringLiteral("breakMinutes"));
    breakMinutes->setRange(minBreakMinutes, maxBreakMinutes);
    connect(breakMinutes, &QSpinBox::valueChanged, this, [this](int minutes) {
        m_settings.setBreakMinutes(minutes);
        changed();
    });
    m_shows.append([this, breakMinutes] {
        const int stored = m_settings.breakMinutes();
        const int shown =
            stored >= minBreakMinutes && stored <= maxBreakMinutes ? stored : Settings::defaultBreakMinutes;
        // Only a different value is set: the field may be in the middle of the user's typing.
        if (breakMinutes->value() == shown) return;
        const QSignalBlocker quiet(breakMinutes);
        breakMinutes->setValue(shown);
    });
    column->addWidget(line({toggle(
                                QStringLiteral("Break reminders after"), [&s] { return s.breakReminders(); },
                                [&s](bool on) { s.setBreakReminders(on); }),
                            breakMinutes, words(QStringLiteral(" min of activity"))}));
    column->addWidget(line({toggle(
                                QStringLiteral("Workout reminder at"), [&s] { return s.workoutOn(); },
                                [&s](bool on) { s.setWorkoutOn(on); }),
                            timeControl([&s] { return s.workoutMinute(); }, Settings::defaultWorkoutMinute,
                                        [&s](int minute) { s.setWorkoutMinute(minute); })}));

    showValues();
    // Another way in (the account's projects arriving, a sign-out) changes what the picker offers.
    connect(&m_settings, &Settings::changed, this, &BehaviourSection::showValues);
}

OVToggle* BehaviourSection::toggle(const QString& text, std::function<bool()> read,
                                   std::function<void(bool)> write) {
    auto* control = new OVToggle(text);
    // `clicked` comes from the user alone (a click, Space); showing a value sets it without a write.
    connect(control, &QAbstractButton::clicked, this, [this, write = std::move(write)](bool on) {
        write(on);
        changed();
    });
    m_shows.append([control, read = std::move(read)] { control->setChecked(read()); });
    return control;
}

QTimeEdit* BehaviourSection::timeControl(std::function<int()> read, int fallback,
                                         std::function<void(int)> write) {
    auto* edit = new QTimeEdit;
    // Hours and minutes in the locale's order and clock; no seconds, which nothing here uses.
    edit->setDisplayFormat(
        QLocale().timeFormat(QLocale::ShortFormat).remove(QRegularExpression(QStringLiteral("[:.]?s+"))));
    edit->setTimeRange(QTime(0, 0), QTime(23, 59));
    connect(edit, &QTimeEdit::timeChanged, this, [this, write = std::move(write)](const QTime& time) {
        write(minuteOf(time));
        changed();
    });
    m_shows.append([edit, read = std::move(read), fallback] {
        const QTime stored = timeOf(read());
        const QTime shown = stored.isValid() ? stored : timeOf(fallback);
        if (edit->time() == shown) return;
        const QSignalBlocker quiet(edit);
        edit->setTime(shown);
    });
    return edit;
}

QWidget* BehaviourSection::line(std::initializer_list<QWidget*> parts) {
    auto* box = new QWidget;
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    for (QWidget* part : parts)
        layout->addWidget(part);
    layout->addStretch(1);
    return box;
}

void BehaviourSection::showValues() {
    for (const auto& showOne : std::as_const(m_shows))
        showOne();
    // Automatic tuning in keeps its value while offers are off, and does nothing then.
    m_autoRecord->setEnabled(m_settings.offerCalls());
    m_includeTitles->setVisible(m_settings.trackWorkday());
}

void BehaviourSection::changed() {
    showValues();
    if (m_onChange) m_onChange();
}
