#include "surfaces/NudgeCard.h"

#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVChip.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/OVLabel.h"

#include <QBoxLayout>

namespace {

OVButton* closeButton(const NudgeView& view) {
    auto* close = new OVButton(QStringLiteral("\u2715"), {OVButtonStyle::Kind::quiet, 20});
    close->setToolTip(QStringLiteral("Close"));
    close->setAccessibleName(QStringLiteral("Close"));
    QObject::connect(close, &QAbstractButton::clicked, close, [action = view.close] {
        if (action) action();
    });
    return close;
}

// The tag's chip, with the close button across from it.
QWidget* header(const NudgeView& view) {
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(new OVChip({*view.tag, view.tone}), 0, Qt::AlignVCenter);
    layout->addStretch();
    layout->addWidget(closeButton(view), 0, Qt::AlignVCenter);
    return row;
}

QWidget* body(const NudgeView& view) {
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    auto* icon = new OVLabel(view.icon, OVFont::mono(12, QFont::Bold), OVLabel::Ink::accent);
    icon->setWordWrap(false);
    icon->setFixedWidth(18);
    icon->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    layout->addWidget(icon, 0, Qt::AlignTop);
    auto* text = new QVBoxLayout;
    text->setSpacing(4);
    text->addWidget(new OVLabel(view.title, OVFont::sans(10.5, QFont::DemiBold), OVLabel::Ink::text));
    if (view.message) text->addWidget(new OVLabel(*view.message, OVFont::sans(9), OVLabel::Ink::secondary));
    layout->addLayout(text, 1);
    if (!view.tag) // no header row: the close button stands beside the title
        layout->addWidget(closeButton(view), 0, Qt::AlignTop);
    return row;
}

QWidget* buttons(const NudgeView& view) {
    auto* row = new QWidget;
    QBoxLayout* layout = view.stacked ? static_cast<QBoxLayout*>(new QVBoxLayout(row)) : new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(view.stacked ? 2 : 4);
    if (!view.stacked) layout->addStretch();
    for (const NudgeButton& b : view.buttons) {
        const OVButtonStyle::Kind kind =
            b.primary ? OVButtonStyle::Kind::primary : OVButtonStyle::Kind::ghost;
        auto* button = new OVButton(b.title, {kind, 28, view.stacked});
        QObject::connect(button, &QAbstractButton::clicked, button, [action = b.action] {
            if (action) action();
        });
        layout->addWidget(button);
    }
    return row;
}

} // namespace

NudgeCard::NudgeCard(const NudgeView& view, QWidget* parent)
    : OVCard({14, view.tone == Tone::accent, 12}, nullptr, parent) {
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    if (view.tag) layout->addWidget(header(view));
    layout->addWidget(body(view));
    if (!view.buttons.empty()) layout->addWidget(buttons(view));
    setContent(content);
    setFixedWidth(width + 2 * shadowMargin);
    setFixedHeight(heightForWidth(width + 2 * shadowMargin));
}
