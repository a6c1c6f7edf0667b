#pragma once

#include <QObject>
#include <QStringList>
#include <QTimer>
#include <functional>

class HUD;
class MenuModel;
class Nudges;
class PopoverController;

// `--ui-check`: opens and walks the tray panel, shows the recording panel in each of its sizes and a tip,
// and writes what it saw as "ui-check: ..." lines. Each step waits for what it did to reach the screen, up
// to a deadline; a step that does not get there is a failure. Ends with `finished(failures)`.
class UiCheck : public QObject {
    Q_OBJECT
public:
    struct Needs {
        PopoverController& popover;
        MenuModel& menu;
        HUD& hud;
        Nudges& nudges;
        std::function<void(const QString&)> print;
    };

    explicit UiCheck(Needs needs, QObject* parent = nullptr);
    void start();

signals:
    void finished(int failures);

private:
    // What the screen shows now, and whether it is what the step waits for.
    struct Seen {
        bool ok = false;
        QString line;
    };
    // What to do, and what the screen must then show.
    struct Step {
        std::function<void()> act;
        std::function<Seen()> seen;
    };
    QList<Step> steps();
    void next();
    void poll();

    Needs m_n;
    QList<Step> m_steps;
    qsizetype m_at = -1;
    QTimer m_poll;
    int m_tries = 0;
    int m_failures = 0;
};
