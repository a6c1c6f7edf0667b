#include "surfaces/SettingsView.h"

#include "os/LoginStart.h"
#include "server/Settings.h"
#include "surfaces/SettingsBehaviour.h"
#include "surfaces/SettingsKeys.h"
#include "surfaces/SettingsLegacy.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/OVLabel.h"
#include "surfaces/design/OVSection.h"
#include "surfaces/design/OVToggle.h"

#include <QBoxLayout>

SettingsView::SettingsView(const Needs& needs, ThisComputer computer, QWidget* parent) : WindowView(parent) {
    setMinimumWidth(640);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(24, 20, 24, 16);
    column->setSpacing(6);

    column->addWidget(new OVSection({QStringLiteral("Account"), std::nullopt}));
    m_account = new AccountSection(needs);
    column->addWidget(m_account);
    column->addSpacing(10);
    m_behaviour = new BehaviourSection(needs.settings, needs.onChange);
    column->addWidget(m_behaviour);
    const KeyGuide keys = computer.keys;
    if (computer.loginStart) {
        column->addSpacing(10);
        column->addWidget(thisComputer(std::move(computer)));
    }
    const bool ownKeys = keys.reach == os::HotKeySource::Reach::program;
    if (!ownKeys) {
        column->addSpacing(10);
        column->addWidget(new KeysSection(keys));
    }
    if (needs.settings.legacyServers()) {
        column->addSpacing(10);
        m_legacy = new LegacySection(needs.settings, needs.onChange);
        column->addWidget(m_legacy);
    }
    column->addStretch(1);

    auto* bottom = new QHBoxLayout;
    bottom->setContentsMargins(0, 12, 0, 0);
    if (ownKeys)
        bottom->addWidget(
            new OVLabel(QStringLiteral("Shortcuts: Ctrl+Alt+R tune in / wrap up \u00b7 Ctrl+Alt+P pin "
                                       "\u00b7 hold Ctrl+Alt+Space to speak"),
                        OVFont::sans(9), OVLabel::Ink::tertiary),
            1);
    else
        bottom->addStretch(1);
    auto* done = new OVButton(QStringLiteral("Done"), {OVButtonStyle::Kind::primary});
    connect(done, &QAbstractButton::clicked, this, [this] { window()->close(); });
    bottom->addWidget(done);
    column->addLayout(bottom);
}

QWidget* SettingsView::thisComputer(ThisComputer computer) {
    auto* box = new QWidget;
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(6);
    column->addWidget(new OVSection({QStringLiteral("This computer"), std::nullopt}));
    auto* atLogin = new OVToggle(QStringLiteral("Start Orvane at login"));
    atLogin->setObjectName(QStringLiteral("startAtLogin"));
    os::LoginStart& loginStart = *computer.loginStart;
    atLogin->setChecked(loginStart.enabled());
    auto* failure = new OVLabel(QString(), OVFont::sans(9), OVLabel::Ink::red);
    failure->hide();
    // The entry on disk is the truth: the toggle shows what is there after each try.
    connect(atLogin, &QAbstractButton::clicked, this, [atLogin, failure, &loginStart](bool on) {
        const std::optional<QString> error = loginStart.setEnabled(on);
        atLogin->setChecked(loginStart.enabled());
        failure->setText(error.value_or(QString()));
        failure->setVisible(error.has_value());
    });
    column->addWidget(atLogin);
    column->addWidget(failure);
    if (computer.showWelcome) {
        auto* welcome = new OVButton(QStringLiteral("Show the welcome again"), {OVButtonStyle::Kind::quiet});
        connect(welcome, &QAbstractButton::clicked, this, computer.showWelcome);
        auto* line = new QHBoxLayout;
        line->addWidget(welcome);
        line->addStretch(1);
        column->addLayout(line);
    }
    return box;
}
