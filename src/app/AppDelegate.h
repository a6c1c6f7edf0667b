#pragma once

#include "app/Arguments.h"

#include <QObject>
#include <memory>

class LiveMeter;
class Nudges;
class QSystemTrayIcon;
struct Services;

// The program's one controller: owns the long-lived objects and runs the start sequence.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    AppDelegate(Services& services, Arguments args);
    ~AppDelegate() override;

    void applicationDidFinishLaunching();

private:
    QString launchLine() const;

    Services& m_services;
    Arguments m_args;
    std::unique_ptr<QSystemTrayIcon> m_statusItem;
    // The one nudge card and the one live level, handed to the surfaces and flows that use them.
    std::unique_ptr<Nudges> m_nudges;
    std::unique_ptr<LiveMeter> m_liveMeter;
};
