#pragma once

#include <QObject>
#include <QString>
#include <optional>

namespace os {

// A key and the modifiers held with it, the key named by its X keysym (the lower-case one for a letter),
// which is also how the other desktops name keys.
struct KeyCombination {
    enum Modifier : unsigned { shift = 1, ctrl = 2, alt = 4, super = 8 };
    quint32 keysym = 0;
    unsigned modifiers = 0;
};

// What a key does, for desktops that list a program's keys to the user or run a command in their place.
struct KeyAction {
    QString name;        // one word that stays the same across versions: "record"
    QString description; // what the desktop's keyboard settings show beside the key
    bool held = false;   // down for as long as it is in use, as push to talk
};

// Key combinations that reach this program from whatever window has the focus. Main thread only.
class HotKeySource : public QObject {
    Q_OBJECT
public:
    // Who decides which keys run the actions: this program, which takes the combinations asked for; the
    // desktop, whose keyboard settings change them; or the user, who binds each action's command to a
    // shortcut of the desktop's own because the desktop gives programs no keys.
    enum class Reach { program, desktop, commands };

    using QObject::QObject;

    // Whether this desktop lets a program have global keys at all.
    virtual bool available() const = 0;
    virtual Reach reach() const { return Reach::program; }
    // Takes the combination for `id`: nothing when it is ours, else the desktop's reason (another program
    // holds it). A refused combination holds nothing and never fires. A desktop that asks the user first
    // answers nothing, and `refused` follows if the user says no.
    virtual std::optional<QString> registerKey(quint32 id, KeyCombination keys, const KeyAction& action) = 0;
    // With Reach::commands, the shell command that acts as the key for `action`; else nothing.
    virtual QString command(const KeyAction&) const { return {}; }

signals:
    // Once when the combination goes down; holding it repeats nothing.
    void pressed(quint32 id);
    // Once when the key or one of its modifiers goes up, whichever is first.
    void released(quint32 id);
    // A key taken earlier that the desktop or the user turned down after all: it never fires.
    void refused(quint32 id, const QString& reason);
};

} // namespace os
