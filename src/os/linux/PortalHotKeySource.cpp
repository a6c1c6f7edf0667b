#include "os/linux/PortalHotKeySource.h"

#include "os/linux/PortalRequest.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QLoggingCategory>
#include <QTimer>
#include <algorithm>
#include <utility>
#include <xkbcommon/xkbcommon.h>

Q_LOGGING_CATEGORY(lcPortalKeys, "hot keys")

namespace os::portal {

// One element of the portal's a(sa{sv}): a shortcut's id and its properties.
struct Shortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& out, const Shortcut& shortcut) {
    out.beginStructure();
    out << shortcut.id << shortcut.properties;
    out.endStructure();
    return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, Shortcut& shortcut) {
    in.beginStructure();
    in >> shortcut.id >> shortcut.properties;
    in.endStructure();
    return in;
}

} // namespace os::portal

Q_DECLARE_METATYPE(os::portal::Shortcut)

namespace os {

namespace {

const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");

// The session handle comes as a string in the documented answer, as an object path from some desktops.
QString pathIn(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    return value.toString();
}

} // namespace

PortalHotKeySource::PortalHotKeySource(QString service, QDBusConnection bus, QObject* parent)
    : HotKeySource(parent), m_service(std::move(service)), m_bus(std::move(bus)) {
    qDBusRegisterMetaType<portal::Shortcut>();
    qDBusRegisterMetaType<QList<portal::Shortcut>>();
    QDBusMessage get = QDBusMessage::createMethodCall(
        m_service, portal::path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << shortcutsInterface << QStringLiteral("version");
    // A portal that is not running yet is started by the bus, which takes a moment.
    const QDBusMessage reply = m_bus.call(get, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        qCInfo(lcPortalKeys).noquote()
            << (QStringLiteral("no GlobalShortcuts portal at %1 (%2)").arg(m_service, reply.errorMessage()));
        return;
    }
    m_version = reply.arguments().value(0).value<QDBusVariant>().variant().toUInt();
    qCInfo(lcPortalKeys).noquote()
        << (QStringLiteral("the desktop's GlobalShortcuts portal, version %1").arg(m_version));
    m_bus.connect(m_service, portal::path, shortcutsInterface, QStringLiteral("Activated"), this,
                  SLOT(onActivated(QDBusMessage)));
    m_bus.connect(m_service, portal::path, shortcutsInterface, QStringLiteral("Deactivated"), this,
                  SLOT(onDeactivated(QDBusMessage)));
}

QString PortalHotKeySource::trigger(KeyCombination keys) {
    QStringList parts;
    const std::pair<unsigned, const char*> modifiers[] = {{KeyCombination::ctrl, "CTRL"},
                                                          {KeyCombination::alt, "ALT"},
                                                          {KeyCombination::shift, "SHIFT"},
                                                          {KeyCombination::super, "LOGO"}};
    for (const auto& [bit, name] : modifiers)
        if (keys.modifiers & bit) parts.append(QLatin1String(name));
    char name[64] = {};
    if (xkb_keysym_get_name(keys.keysym, name, sizeof name) > 0) parts.append(QLatin1String(name));
    return parts.join(QLatin1Char('+'));
}

std::optional<QString> PortalHotKeySource::registerKey(quint32 id, KeyCombination keys,
                                                       const KeyAction& action) {
    if (!available()) return QStringLiteral("no GlobalShortcuts portal");
    m_unbound.push_back({id, keys, action});
    bindSoon();
    return std::nullopt;
}

void PortalHotKeySource::bindSoon() {
    if (m_bindQueued) return;
    m_bindQueued = true;
    QTimer::singleShot(0, this, &PortalHotKeySource::bind);
}

// One request at a time: keys registered while one is out go in the next.
void PortalHotKeySource::bind() {
    m_bindQueued = false;
    if (m_unbound.empty() || m_creating || m_binding) return;
    if (m_session.isEmpty())
        createSession();
    else
        bindShortcuts();
}

void PortalHotKeySource::createSession() {
    m_creating = true;
    const QVariantMap options{{QStringLiteral("session_handle_token"), portal::token()}};
    request(QStringLiteral("CreateSession"), {}, options, [this](uint code, const QVariantMap& results) {
        m_creating = false;
        m_session = code == portal::Response::success
                        ? pathIn(results.value(QStringLiteral("session_handle")))
                        : QString();
        if (m_session.isEmpty()) {
            refuse(std::exchange(m_unbound, {}), QStringLiteral("the desktop opened no shortcuts session"));
            return;
        }
        bind();
    });
}

void PortalHotKeySource::bindShortcuts() {
    m_binding = true;
    std::vector<Key> keys = std::exchange(m_unbound, {});
    QList<portal::Shortcut> shortcuts;
    for (const Key& key : keys)
        shortcuts.append({key.action.name,
                          {{QStringLiteral("description"), key.action.description},
                           {QStringLiteral("preferred_trigger"), trigger(key.keys)}}});
    // No window of ours to put the desktop's question over: the tray has none.
    const QList<QVariant> arguments{QVariant::fromValue(QDBusObjectPath(m_session)),
                                    QVariant::fromValue(shortcuts), QString()};
    request(
        QStringLiteral("BindShortcuts"), arguments, {},
        [this, keys = std::move(keys)](uint code, const QVariantMap& results) {
            m_binding = false;
            if (code != portal::Response::success) {
                refuse(keys, code == portal::Response::cancelled
                                 ? QStringLiteral("the user turned the keys down")
                                 : QStringLiteral("the desktop ended the request"));
            } else {
                const auto bound =
                    qdbus_cast<QList<portal::Shortcut>>(results.value(QStringLiteral("shortcuts")));
                for (const Key& key : keys) {
                    const auto it = std::find_if(bound.begin(), bound.end(), [&](const portal::Shortcut& s) {
                        return s.id == key.action.name;
                    });
                    if (it == bound.end()) {
                        refuse({key}, QStringLiteral("the desktop bound nothing to it"));
                        continue;
                    }
                    qCInfo(lcPortalKeys).noquote()
                        << (QStringLiteral("the desktop binds %1 to %2")
                                .arg(key.action.name,
                                     it->properties.value(QStringLiteral("trigger_description")).toString()));
                    m_bound.push_back(key);
                }
            }
            bind();
        });
}

void PortalHotKeySource::request(const QString& method, QList<QVariant> arguments, QVariantMap options,
                                 Answer answer) {
    const QString token = portal::token();
    const QString path = portal::requestPath(m_bus, token);
    options.insert(QStringLiteral("handle_token"), token);
    m_bus.connect(m_service, path, requestInterface, QStringLiteral("Response"), this,
                  SLOT(onResponse(QDBusMessage)));
    m_waiting[path] = std::move(answer);
    QDBusMessage call = QDBusMessage::createMethodCall(m_service, portal::path, shortcutsInterface, method);
    arguments.append(options);
    call.setArguments(arguments);
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, path, method](QDBusPendingCallWatcher* w) {
                w->deleteLater();
                const QDBusPendingReply<QDBusObjectPath> reply = *w;
                if (!reply.isError()) return;
                qCInfo(lcPortalKeys).noquote()
                    << (QStringLiteral("the portal's %1 failed: %2").arg(method, reply.error().message()));
                const auto it = m_waiting.find(path);
                if (it == m_waiting.end()) return;
                const Answer answer = std::move(it->second);
                m_waiting.erase(it);
                m_bus.disconnect(m_service, path, requestInterface, QStringLiteral("Response"), this,
                                 SLOT(onResponse(QDBusMessage)));
                answer(portal::Response::other, {});
            });
}

void PortalHotKeySource::onResponse(const QDBusMessage& signal) {
    const auto it = m_waiting.find(signal.path());
    if (it == m_waiting.end()) return;
    const Answer answer = std::move(it->second);
    m_waiting.erase(it);
    m_bus.disconnect(m_service, signal.path(), requestInterface, QStringLiteral("Response"), this,
                     SLOT(onResponse(QDBusMessage)));
    const QList<QVariant> args = signal.arguments();
    if (args.size() < 2) {
        qCInfo(lcPortalKeys).noquote()
            << (QStringLiteral("a portal answer without its code and results; taken as ended"));
        answer(portal::Response::other, {});
        return;
    }
    answer(args.at(0).toUInt(), qdbus_cast<QVariantMap>(args.at(1)));
}

void PortalHotKeySource::refuse(const std::vector<Key>& keys, const QString& reason) {
    for (const Key& key : keys)
        emit refused(key.id, reason);
}

std::optional<quint32> PortalHotKeySource::idOf(const QDBusMessage& signal) const {
    const QList<QVariant> args = signal.arguments();
    if (args.size() < 2 || m_session.isEmpty() || pathIn(args.at(0)) != m_session) return std::nullopt;
    const QString name = args.at(1).toString();
    const auto key =
        std::find_if(m_bound.begin(), m_bound.end(), [&](const Key& k) { return k.action.name == name; });
    if (key == m_bound.end()) return std::nullopt;
    return key->id;
}

void PortalHotKeySource::onActivated(const QDBusMessage& signal) {
    if (const std::optional<quint32> id = idOf(signal)) emit pressed(*id);
}

void PortalHotKeySource::onDeactivated(const QDBusMessage& signal) {
    if (const std::optional<quint32> id = idOf(signal)) emit released(*id);
}

} // namespace os
