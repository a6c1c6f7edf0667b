#pragma once

#include "surfaces/SettingsAccount.h"
#include "surfaces/WindowView.h"

#include <functional>

class BehaviourSection;
class LegacySection;

// The one settings window's content: the account, the behaviour around sessions and calls, the work day and
// the coach, and, folded away, the legacy servers; the shortcuts and "Done" at the bottom. Every control
// writes straight to the settings; `onChange` follows each change.
class SettingsView : public WindowView {
    Q_OBJECT
public:
    // What the account needs is what the whole window needs.
    using Needs = AccountSection::Needs;
    static inline const QString title = QStringLiteral("Orvane Settings");
    static inline const QString windowKey = QStringLiteral("settings");

    explicit SettingsView(const Needs& needs, QWidget* parent = nullptr);

    AccountSection& account() const { return *m_account; }
    BehaviourSection& behaviour() const { return *m_behaviour; }
    // Absent when the legacy servers are turned off.
    LegacySection* legacy() const { return m_legacy; }

private:
    AccountSection* m_account = nullptr;
    BehaviourSection* m_behaviour = nullptr;
    LegacySection* m_legacy = nullptr;
};
