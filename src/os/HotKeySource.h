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

// Key combinations that reach this program from whatever window has the focus. Main thread only.
class HotKeySource : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // Whether this desktop lets a program have global keys at all.
    virtual bool available() const = 0;
    // Takes the combination for `id`: nothing when it is ours, else the desktop's reason (another program
    // holds it). A refused combination holds nothing and never fires.
    virtual std::optional<QString> registerKey(quint32 id, KeyCombination keys) = 0;

signals:
    // Once when the combination goes down; holding it repeats nothing.
    void pressed(quint32 id);
    // Once when the key or one of its modifiers goes up, whichever is first.
    void released(quint32 id);
};

} // namespace os
