#include "surfaces/SettingsView.h"

#include "server/Settings.h"
#include "surfaces/SettingsBehaviour.h"
#include "surfaces/SettingsLegacy.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/OVLabel.h"
#include "surfaces/design/OVSection.h"

#include <QBoxLayout>

SettingsView::SettingsView(const Needs& needs, QWidget* parent) : WindowView(parent) {
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
    if (needs.settings.legacyServers()) {
        column->addSpacing(10);
        m_legacy = new LegacySection(needs.settings, needs.onChange);
        column->addWidget(m_legacy);
    }
    column->addStretch(1);

    auto* bottom = new QHBoxLayout;
    bottom->setContentsMargins(0, 12, 0, 0);
    bottom->addWidget(
        new OVLabel(QStringLiteral("Shortcuts: Ctrl+Alt+R tune in / wrap up \u00b7 Ctrl+Alt+P pin "
                                   "\u00b7 hold Ctrl+Alt+Space to speak"),
                    OVFont::sans(9), OVLabel::Ink::tertiary),
        1);
    auto* done = new OVButton(QStringLiteral("Done"), {OVButtonStyle::Kind::primary});
    connect(done, &QAbstractButton::clicked, this, [this] { window()->close(); });
    bottom->addWidget(done);
    column->addLayout(bottom);
}
