#pragma once

#include "os/HotKeySource.h"

#include <QList>
#include <QObject>
#include <functional>
#include <map>

// How the user reaches the app's keys, for the settings window to explain.
struct KeyGuide {
    struct Command {
        QString name;  // the action's word: "record"
        QString label; // what the key does, for the user
        QString line;  // the shell command that acts as the key
    };
    os::HotKeySource::Reach reach = os::HotKeySource::Reach::program;
    QList<Command> commands; // with Reach::commands, one for each key
};

// The global keys and what each runs, over whatever gives the desktop's keys. A key that another program or a
// system shortcut owns is logged and left out; the app goes on without it. Main thread only.
class HotKeys : public QObject {
    Q_OBJECT
public:
    enum Id : quint32 { record = 1, pin = 2, voice = 3 };
    // What the app's three keys run.
    struct Actions {
        std::function<void()> record; // tune in, or wrap up
        std::function<void()> pin;    // pin a region
        std::function<void()> voiceDown;
        std::function<void()> voiceUp;
    };

    explicit HotKeys(os::HotKeySource& source, QObject* parent = nullptr);

    // Whether the combination is ours now; `onRelease`, when given, runs when it goes up.
    bool registerKey(quint32 id, os::KeyCombination keys, const os::KeyAction& action,
                     std::function<void()> handler, std::function<void()> onRelease = {});
    // Ctrl+Alt+R, Ctrl+Alt+P and Ctrl+Alt+Space (held to speak), once at launch.
    void registerAppKeys(Actions actions);
    // Ctrl+Alt+Space is ours: the Voice buttons say to hold it, else to click.
    bool voiceKeyOK() const { return m_voiceKeyOK; }
    KeyGuide guide() const;

private:
    void forget(quint32 id, const QString& reason);

    os::HotKeySource& m_source;
    std::map<quint32, std::function<void()>> m_handlers;
    std::map<quint32, std::function<void()>> m_releases;
    bool m_voiceKeyOK = false;
    bool m_saidUnavailable = false;
};
