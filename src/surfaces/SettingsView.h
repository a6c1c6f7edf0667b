#pragma once

#include "surfaces/design/Pal.h"

#include <QWidget>
#include <functional>

class AccountSection;
class BehaviourSection;
class Browser;
class LegacySection;
class Settings;
class SignIn;

// The one settings window's content: the account, the behaviour around sessions and calls, the work day and
// the coach, and, folded away, the legacy servers; the shortcuts and "Done" at the bottom. Every control
// writes straight to the settings; `onChange` follows each change.
class SettingsView : public QWidget {
    Q_OBJECT
public:
    struct Needs {
        Settings& settings;
        SignIn& signIn;
        Browser& browser;
        std::function<void()> onChange;
        std::function<void()> onSignOut;
        std::function<void()> refreshAccount;
    };
    static inline const QString title = QStringLiteral("Orvane Settings");
    static inline const QString windowKey = QStringLiteral("settings");

    explicit SettingsView(const Needs& needs, QWidget* parent = nullptr);

    AccountSection& account() const { return *m_account; }
    BehaviourSection& behaviour() const { return *m_behaviour; }
    // Absent when the legacy servers are turned off.
    LegacySection* legacy() const { return m_legacy; }

    // Draws in this scheme whatever the desktop's, for pictures.
    void useScheme(ColorScheme scheme);

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    AccountSection* m_account = nullptr;
    BehaviourSection* m_behaviour = nullptr;
    LegacySection* m_legacy = nullptr;
    bool m_fixedScheme = false;
};
