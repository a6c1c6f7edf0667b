#pragma once

#include <QWidget>
#include <functional>

class OVToggle;
class QComboBox;
class QTime;
class QSpinBox;
class QTimeEdit;
class QVBoxLayout;
class Settings;

// What the app does around sessions and calls, the work day and the coach: each control bound to its
// setting, written when the user changes it and then reported through `onChange`. Values out of range in
// the settings file show as their defaults and are not written back until the user changes them.
class BehaviourSection : public QWidget {
    Q_OBJECT
public:
    BehaviourSection(Settings& settings, std::function<void()> onChange, QWidget* parent = nullptr);

    // A minute of the day as a time without a date, so that a day with a clock change cannot shift it;
    // a minute outside the day gives nothing.
    static QTime timeOf(int minute);
    static int minuteOf(const QTime& time);

private:
    OVToggle* toggle(const QString& text, std::function<bool()> read, std::function<void(bool)> write);
    QTimeEdit* timeControl(std::function<int()> read, int fallback, std::function<void(int)> write);
    QWidget* line(std::initializer_list<QWidget*> parts);
    // Shows the settings' values, without writing anything.
    void showValues();
    void changed();

    Settings& m_settings;
    std::function<void()> m_onChange;
    QList<std::function<void()>> m_shows; // each control's own way to show its setting
    OVToggle* m_autoRecord = nullptr;
    OVToggle* m_includeTitles = nullptr;
    QComboBox* m_workdayPicker = nullptr;
};
