#include "surfaces/HotKeys.h"

#include "core/Log.h"

#include <algorithm>

namespace {

void run(const std::map<quint32, std::function<void()>>& table, quint32 id) {
    if (const auto it = table.find(id); it != table.end() && it->second) it->second();
}

struct AppKey {
    HotKeys::Id id;
    os::KeyCombination keys;
    os::KeyAction action;
    QString label; // for the settings
};

// The app's keys in the order the settings list them. Latin-1 keysyms are the characters' own codes.
const std::vector<AppKey>& appKeys() {
    using os::KeyCombination;
    constexpr unsigned ctrlAlt = KeyCombination::ctrl | KeyCombination::alt;
    static const std::vector<AppKey> keys{
        {HotKeys::record,
         {'r', ctrlAlt},
         {QStringLiteral("record"), QStringLiteral("Tune in, or wrap up the session")},
         QStringLiteral("Tune in / wrap up")},
        {HotKeys::pin,
         {'p', ctrlAlt},
         {QStringLiteral("pin"), QStringLiteral("Pin a region of the screen")},
         QStringLiteral("Pin")},
        {HotKeys::voice,
         {' ', ctrlAlt},
         {QStringLiteral("talk"), QStringLiteral("Talk to Orvane while held"), true},
         QStringLiteral("Talk: once to start listening, again to stop")},
    };
    return keys;
}

} // namespace

HotKeys::HotKeys(os::HotKeySource& source, QObject* parent) : QObject(parent), m_source(source) {
    connect(&source, &os::HotKeySource::pressed, this, [this](quint32 id) { run(m_handlers, id); });
    connect(&source, &os::HotKeySource::released, this, [this](quint32 id) { run(m_releases, id); });
    connect(&source, &os::HotKeySource::refused, this, &HotKeys::forget);
}

bool HotKeys::registerKey(quint32 id, os::KeyCombination keys, const os::KeyAction& action,
                          std::function<void()> handler, std::function<void()> onRelease) {
    if (!m_source.available()) {
        if (!m_saidUnavailable) slog(QStringLiteral("hot keys: this desktop gives no program global keys"));
        m_saidUnavailable = true;
        return false;
    }
    if (const std::optional<QString> refused = m_source.registerKey(id, keys, action)) {
        slog(QStringLiteral("hotkey %1 not registered (%2) \u2014 another app or a system shortcut owns it")
                 .arg(id)
                 .arg(*refused));
        return false;
    }
    m_handlers[id] = std::move(handler);
    if (onRelease) m_releases[id] = std::move(onRelease);
    return true;
}

// The desktop asked the user, who said no: the key is as good as never registered.
void HotKeys::forget(quint32 id, const QString& reason) {
    slog(QStringLiteral("hotkey %1 not registered (%2)").arg(id).arg(reason));
    m_handlers.erase(id);
    m_releases.erase(id);
    if (id == voice) m_voiceKeyOK = false;
}

void HotKeys::registerAppKeys(Actions actions) {
    const auto take = [this](Id id, std::function<void()> down, std::function<void()> up = {}) {
        const AppKey& key =
            *std::find_if(appKeys().begin(), appKeys().end(), [id](const AppKey& k) { return k.id == id; });
        return registerKey(id, key.keys, key.action, std::move(down), std::move(up));
    };
    take(record, std::move(actions.record));
    take(pin, std::move(actions.pin));
    m_voiceKeyOK = take(voice, std::move(actions.voiceDown), std::move(actions.voiceUp));
}

KeyGuide HotKeys::guide() const {
    KeyGuide guide{m_source.reach(), {}};
    if (guide.reach != os::HotKeySource::Reach::commands) return guide;
    for (const AppKey& key : appKeys())
        if (const QString line = m_source.command(key.action); !line.isEmpty())
            guide.commands.append({key.action.name, key.label, line});
    return guide;
}
