#include "surfaces/SettingsKeys.h"

#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/OVLabel.h"
#include "surfaces/design/OVSection.h"

#include <QBoxLayout>
#include <QClipboard>
#include <QGuiApplication>
#include <QLineEdit>

namespace {

void copy(const QString& text) {
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->setText(text);
    // A middle click pastes it too, where the desktop has a selection.
    if (clipboard->supportsSelection()) clipboard->setText(text, QClipboard::Selection);
}

} // namespace

KeysSection::KeysSection(const KeyGuide& guide, QWidget* parent) : QWidget(parent) {
    using Reach = os::HotKeySource::Reach;
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(6);
    column->addWidget(new OVSection({QStringLiteral("Global keys"), std::nullopt}));
    const auto say = [column](const QString& text) {
        column->addWidget(new OVLabel(text, OVFont::sans(9), OVLabel::Ink::secondary));
    };
    if (guide.reach == Reach::desktop) {
        say(QStringLiteral(
            "Your desktop holds Orvane\u2019s keys: Ctrl+Alt+R tune in / wrap up, Ctrl+Alt+P pin, "
            "hold Ctrl+Alt+Space to speak, unless you chose others. Change them in the "
            "desktop\u2019s keyboard settings, where Orvane is listed."));
        return;
    }
    say(QStringLiteral(
        "This desktop gives programs no global keys. To use Orvane\u2019s from any window, bind "
        "each command below to a shortcut in the desktop\u2019s keyboard settings (a custom "
        "shortcut), Ctrl+Alt+R for the first, say."));
    for (const KeyGuide::Command& command : guide.commands) {
        column->addWidget(new OVLabel(command.label, OVFont::sans(10), OVLabel::Ink::text));
        auto* line = new QLineEdit(command.line);
        line->setObjectName(QStringLiteral("command:") + command.name);
        line->setReadOnly(true);
        line->setFont(OVFont::mono(9));
        // The ends differ from key to key: they show, and the whole line is in the tip.
        line->setCursorPosition(int(command.line.size()));
        line->setToolTip(command.line);
        auto* button = new OVButton(QStringLiteral("Copy"), {OVButtonStyle::Kind::ghost});
        button->setObjectName(QStringLiteral("copy:") + command.name);
        connect(button, &QAbstractButton::clicked, this, [text = command.line] { copy(text); });
        auto* row = new QHBoxLayout;
        row->setSpacing(8);
        row->addWidget(line, 1);
        row->addWidget(button);
        column->addLayout(row);
    }
}
