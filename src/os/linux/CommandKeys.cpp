#include "os/linux/CommandKeys.h"

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QLoggingCategory>
#include <algorithm>

Q_LOGGING_CATEGORY(lcCommandKeys, "hot keys")

namespace os {

namespace {

// The Keys interface on the object: Press(action).
class KeysAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "app.orvane.Orvane.Keys")
public:
    KeysAdaptor(CommandKeys& keys, QDBusConnection bus)
        : QDBusAbstractAdaptor(&keys), m_keys(keys), m_bus(std::move(bus)) {}

public slots:
    void Press(const QString& action, const QDBusMessage& call) {
        const std::optional<QString> error = m_keys.press(action);
        if (!error) return;
        call.setDelayedReply(true);
        m_bus.send(call.createErrorReply(QStringLiteral("app.orvane.Orvane.Error.NoSuchAction"), *error));
    }

private:
    CommandKeys& m_keys;
    QDBusConnection m_bus;
};

} // namespace

CommandKeys::CommandKeys(QDBusConnection bus, QString busName, QObject* parent)
    : HotKeySource(parent), m_bus(std::move(bus)), m_busName(std::move(busName)),
      m_path(QLatin1Char('/') + QString(m_busName).replace(QLatin1Char('.'), QLatin1Char('/')) +
             QStringLiteral("/Keys")) {
    new KeysAdaptor(*this, m_bus);
    m_exported = m_bus.isConnected() && m_bus.registerObject(m_path, this, QDBusConnection::ExportAdaptors);
    if (m_exported)
        qCInfo(lcCommandKeys).noquote()
            << (QStringLiteral("this desktop gives programs no global keys; the settings show the "
                               "commands to bind to its shortcuts"));
    else
        qCInfo(lcCommandKeys).noquote()
            << (QStringLiteral("no global keys, and no session bus for their commands at %1").arg(m_path));
}

CommandKeys::~CommandKeys() {
    if (m_exported) m_bus.unregisterObject(m_path);
}

std::optional<QString> CommandKeys::registerKey(quint32 id, KeyCombination, const KeyAction& action) {
    if (!m_exported) return QStringLiteral("no session bus");
    m_keys.push_back({id, action});
    return std::nullopt;
}

QString CommandKeys::command(const KeyAction& action) const {
    // Names are one plain word: nothing in the line needs quoting for a shell or for gdbus.
    return QStringLiteral("gdbus call --session --dest %1 --object-path %2 --method %3.%4 %5")
        .arg(m_busName, m_path, interfaceName, methodName, action.name);
}

std::optional<QString> CommandKeys::press(const QString& action) {
    const auto key =
        std::find_if(m_keys.begin(), m_keys.end(), [&](const Key& k) { return k.action.name == action; });
    if (key == m_keys.end()) {
        qCInfo(lcCommandKeys).noquote()
            << (QStringLiteral("a command for %1, which no key has; ignored").arg(action));
        return QStringLiteral("no key called \u201c%1\u201d").arg(action);
    }
    const quint32 id = key->id;
    const bool goesDown = !key->action.held || !key->down;
    const bool goesUp = !key->action.held || key->down;
    if (key->action.held) key->down = !key->down;
    // After the reply: what the key starts may wait on the user (a question in a window), and the desktop's
    // command should not wait with it.
    QMetaObject::invokeMethod(
        this,
        [this, id, goesDown, goesUp] {
            if (goesDown) emit pressed(id);
            if (goesUp) emit released(id);
        },
        Qt::QueuedConnection);
    return std::nullopt;
}

} // namespace os

#include "CommandKeys.moc"
