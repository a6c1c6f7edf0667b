#pragma once

#include "surfaces/HotKeys.h"
#include "surfaces/SettingsAccount.h"
#include "surfaces/WindowView.h"

#include <functional>

class BehaviourSection;
class LegacySection;
namespace os {
class LoginStart;
}

// What the settings window shows of this computer rather than the account; the section is left out without
// the login start. Keys the program holds itself are named at the bottom; others get a section of their own.
struct SettingsThisComputer {
    os::LoginStart* loginStart = nullptr;
    std::function<void()> showWelcome;
    KeyGuide keys;
};

// The one settings window's content: the account, the behaviour around sessions and calls, the work day and
// the coach, this computer (start at login, the welcome, the global keys), and, folded away, the legacy
// servers; the shortcuts and "Done" at the bottom. Every control
// writes straight to the settings; `onChange` follows each change.
class SettingsView : public WindowView {
    Q_OBJECT
public:
    // What the account needs is what the whole window needs.
    using Needs = AccountSection::Needs;
    static inline const QString title = QStringLiteral("Orvane Settings");
    static inline const QString windowKey = QStringLiteral("settings");

    using ThisComputer = SettingsThisComputer;

    explicit SettingsView(const Needs& needs, ThisComputer computer = {}, QWidget* parent = nullptr);

    AccountSection& account() const { return *m_account; }
    BehaviourSection& behaviour() const { return *m_behaviour; }
    // Absent when the legacy servers are turned off.
    LegacySection* legacy() const { return m_legacy; }

private:
    QWidget* thisComputer(ThisComputer computer);

    AccountSection* m_account = nullptr;
    BehaviourSection* m_behaviour = nullptr;
    LegacySection* m_legacy = nullptr;
};
