#pragma once

#include "os/HotKeySource.h"

#include <QDBusConnection>
#include <vector>

namespace os {

// The app's keys as a method of the running copy on the session bus, for desktops that give programs no
// global keys (GNOME before 48, sway and the other wlroots desktops): the user binds each action's command
// to a shortcut in the desktop's own keyboard settings. A desktop runs a shortcut's command when it is
// pressed and never when it is let go, so a held key (push to talk) toggles: one call puts it down, the
// next lets it up.
class CommandKeys final : public HotKeySource {
    Q_OBJECT
public:
    static inline const QString interfaceName = QStringLiteral("app.orvane.Orvane.Keys");
    static inline const QString methodName = QStringLiteral("Press");

    // `busName`: the name the running copy holds on `bus`, which the commands call. The object goes beside
    // the copy's own, at the name's path with /Keys after it.
    CommandKeys(QDBusConnection bus, QString busName, QObject* parent = nullptr);
    ~CommandKeys() override;

    bool available() const override { return m_exported; }
    Reach reach() const override { return Reach::commands; }
    std::optional<QString> registerKey(quint32 id, KeyCombination keys, const KeyAction& action) override;
    QString command(const KeyAction& action) const override;

    // What a call does: the key of `action` goes down and up, or, held, toggles. Answers the error of an
    // action that has no key.
    std::optional<QString> press(const QString& action);

private:
    struct Key {
        quint32 id = 0;
        KeyAction action;
        bool down = false;
    };

    QDBusConnection m_bus;
    QString m_busName;
    QString m_path;
    bool m_exported = false;
    std::vector<Key> m_keys;
};

} // namespace os
