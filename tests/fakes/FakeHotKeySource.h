#pragma once

#include "os/HotKeySource.h"

#include <QSet>

// Global keys in memory: a test presses and releases a key by emitting `pressed` and `released`; keysyms in
// `taken` are owned by another program.
class FakeHotKeySource final : public os::HotKeySource {
public:
    bool available() const override { return true; }
    std::optional<QString> registerKey(quint32, os::KeyCombination keys, const os::KeyAction&) override {
        if (taken.contains(keys.keysym)) return QStringLiteral("BadAccess");
        return std::nullopt;
    }

    QSet<quint32> taken;
};
