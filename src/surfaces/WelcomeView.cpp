#include "surfaces/WelcomeView.h"

#include "surfaces/design/Kbd.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/OVLabel.h"
#include "surfaces/design/OVSection.h"
#include "surfaces/design/Wordmark.h"

#include <QBoxLayout>
#include <QGridLayout>

namespace {
constexpr int windowWidth = 560;
constexpr int margin = 28;

// The window has one width: each paragraph takes the height its lines need there, which a layout of
// wrapped labels in a top-level window does not settle by itself.
OVLabel* paragraph(const QString& text) {
    auto* label = new OVLabel(text, OVFont::sans(10), OVLabel::Ink::text);
    label->setFixedHeight(label->heightForWidth(windowWidth - 2 * margin));
    return label;
}
} // namespace

WelcomeView::WelcomeView(Needs needs, QWidget* parent) : WindowView(parent) {
    setFixedWidth(windowWidth);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(margin, 24, margin, 20);
    column->setSpacing(8);
    column->addWidget(new Wordmark({14}));
    column->addSpacing(2);
    const auto heading = [column](const QString& title) {
        column->addSpacing(4);
        column->addWidget(new OVSection({title, std::nullopt}));
    };

    heading(QStringLiteral("What Orvane records"));
    column->addWidget(paragraph(QStringLiteral(
        "When you tune in, Orvane records the screen, the other side of a call (the sound your computer "
        "plays) and your microphone. As it goes it keeps screenshots that changed, text read off the screen, "
        "which apps were in front, and your pins. A panel shows the whole time that it is recording.")));
    heading(QStringLiteral("Where it stays"));
    column->addWidget(paragraph(QStringLiteral(
        "Everything stays in a folder on this computer until you say where it goes. When you wrap up, Orvane "
        "asks \u201cWhere does this go?\u201d: a project of your team, or your private Personal space. With "
        "no answer in 2 minutes, shown as a countdown, it goes to Personal, which only you see.")));
    heading(QStringLiteral("Keys, from any window"));
    auto* keys = new QGridLayout;
    keys->setHorizontalSpacing(12);
    keys->setVerticalSpacing(6);
    const std::pair<const char*, const char*> rows[] = {
        {"Ctrl+Alt+R", "Tune in, and wrap up"},
        {"Ctrl+Alt+P", "Pin a region of the screen, with a note"},
        {"Ctrl+Alt+Space", "Hold, and say \u201ctake a screenshot\u201d or \u201cnote that \u2026\u201d"},
    };
    for (int row = 0; row < int(std::size(rows)); ++row) {
        keys->addWidget(new Kbd({QString::fromUtf8(rows[row].first)}), row, 0, Qt::AlignLeft);
        keys->addWidget(
            new OVLabel(QString::fromUtf8(rows[row].second), OVFont::sans(10), OVLabel::Ink::text), row, 1);
    }
    keys->setColumnStretch(1, 1);
    column->addLayout(keys);
    heading(QStringLiteral("Your account"));
    column->addWidget(
        paragraph(needs.signedIn
                      ? QStringLiteral("You are signed in. Settings (Ctrl+, in the tray panel) show this "
                                       "window again.")
                      : QStringLiteral("Sign in to send sessions to your team: Orvane shows a code and opens "
                                       "the page where you approve it. Until then, recordings wait on this "
                                       "computer.")));
    column->addStretch(1);

    auto* bottom = new QHBoxLayout;
    bottom->setContentsMargins(0, 12, 0, 0);
    bottom->addStretch(1);
    auto* done = new OVButton(needs.signedIn ? QStringLiteral("Done") : QStringLiteral("Later"),
                              {needs.signedIn ? OVButtonStyle::Kind::primary : OVButtonStyle::Kind::ghost});
    connect(done, &QAbstractButton::clicked, this, [this] { window()->close(); });
    bottom->addWidget(done);
    if (!needs.signedIn) {
        auto* signIn = new OVButton(QStringLiteral("Sign in\u2026"), {OVButtonStyle::Kind::primary});
        connect(signIn, &QAbstractButton::clicked, this, [this, go = std::move(needs.signIn)] {
            window()->close();
            if (go) go();
        });
        bottom->addWidget(signIn);
    }
    column->addLayout(bottom);
}
