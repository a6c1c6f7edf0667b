#include "surfaces/HotKeys.h"

#include "core/Log.h"

namespace {

void run(const std::map<quint32, std::function<void()>>& table, quint32 id) {
    if (const auto it = table.find(id); it != table.end() && it->second) it->second();
}

} // namespace

HotKeys::HotKeys(os::HotKeySource& source, QObject* parent) : QObject(parent), m_source(source) {
    connect(&source, &os::HotKeySource::pressed, this, [this](quint32 id) { run(m_handlers, id); });
    connect(&source, &os::HotKeySource::released, this, [this](quint32 id) { run(m_releases, id); });
}

bool HotKeys::registerKey(quint32 id, os::KeyCombination keys, std::function<void()> handler,
                          std::function<void()> onRelease) {
    if (!m_source.available()) {
        if (!m_saidUnavailable) slog(QStringLiteral("hot keys: this desktop gives no program global keys"));
        m_saidUnavailable = true;
        return false;
    }
    if (const std::optional<QString> refused = m_source.registerKey(id, keys)) {
        slog(QStringLiteral("hotkey %1 not registered (%2) \u2014 another app or a system shortcut owns it")
                 .arg(id)
                 .arg(*refused));
        return false;
    }
    m_handlers[id] = std::move(handler);
    if (onRelease) m_releases[id] = std::move(onRelease);
    return true;
}

void HotKeys::registerAppKeys(Actions actions) {
    using os::KeyCombination;
    const unsigned ctrlAlt = KeyCombination::ctrl | KeyCombination::alt;
    // Latin-1 keysyms are the characters' own codes.
    registerKey(record, {'r', ctrlAlt}, std::move(actions.record));
    registerKey(pin, {'p', ctrlAlt}, std::move(actions.pin));
    m_voiceKeyOK =
        registerKey(voice, {' ', ctrlAlt}, std::move(actions.voiceDown), std::move(actions.voiceUp));
}
