#pragma once

#include "os/HotKeySource.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantMap>
#include <functional>
#include <map>
#include <vector>

namespace os {

// Global keys from the desktop's GlobalShortcuts portal (Plasma 5.27 and later, GNOME 48 and later): one
// session, in which the keys registered in one turn of the event loop are bound together, since the desktop
// may ask the user about each bind. The desktop, not this program, decides the combinations: the ones asked
// for are only preferred, and the user changes them in the desktop's keyboard settings.
class PortalHotKeySource final : public HotKeySource {
    Q_OBJECT
public:
    static inline const QString desktopPortal = QStringLiteral("org.freedesktop.portal.Desktop");

    // Asks `service` for the portal's version, waiting for the answer: made once, at the start.
    explicit PortalHotKeySource(QString service = desktopPortal,
                                QDBusConnection bus = QDBusConnection::sessionBus(),
                                QObject* parent = nullptr);

    bool available() const override { return m_version > 0; }
    Reach reach() const override { return Reach::desktop; }
    std::optional<QString> registerKey(quint32 id, KeyCombination keys, const KeyAction& action) override;

    // A combination as the desktops' shortcut format writes it: "CTRL+ALT+space".
    static QString trigger(KeyCombination keys);

private slots:
    void onResponse(const QDBusMessage& signal);
    void onActivated(const QDBusMessage& signal);
    void onDeactivated(const QDBusMessage& signal);

private:
    struct Key {
        quint32 id = 0;
        KeyCombination keys;
        KeyAction action;
    };
    using Answer = std::function<void(uint code, const QVariantMap& results)>;

    void bindSoon();
    void bind();
    void createSession();
    void bindShortcuts();
    // Calls a method that answers through a Request object's Response; when the call itself fails (logged),
    // `answer` gets the code of a request the desktop ended.
    void request(const QString& method, QList<QVariant> arguments, QVariantMap options, Answer answer);
    void refuse(const std::vector<Key>& keys, const QString& reason);
    std::optional<quint32> idOf(const QDBusMessage& signal) const;

    QString m_service;
    QDBusConnection m_bus;
    uint m_version = 0;
    std::map<QString, Answer> m_waiting; // by request path
    QString m_session;
    bool m_creating = false;
    bool m_binding = false;
    bool m_bindQueued = false;
    std::vector<Key> m_unbound;
    std::vector<Key> m_bound;
};

} // namespace os
