#include "surfaces/PrompterView.h"

#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/OVLabel.h"
#include "surfaces/design/Orb.h"

#include <QBoxLayout>

PrompterView::PrompterView(const Alert& alert, const std::function<void(const QString& button)>& choose,
                           QWidget* parent)
    : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(16);
    auto* top = new QHBoxLayout;
    top->setSpacing(16);
    layout->addLayout(top);
    auto* mark = new Orb({40, false}, Motion(false));
    mark->setSnapshot(true);
    top->addWidget(mark, 0, Qt::AlignTop);
    auto* words = new QVBoxLayout;
    words->setSpacing(8);
    top->addLayout(words, 1);
    words->addWidget(new OVLabel(alert.title, OVFont::sans(12, QFont::DemiBold), OVLabel::Ink::text));
    if (!alert.text.isEmpty())
        words->addWidget(new OVLabel(alert.text, OVFont::sans(10), OVLabel::Ink::secondary));

    // Under the mark and the words, so that three long buttons fit; never narrower than their titles.
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    buttons->addStretch(1);
    layout->addLayout(buttons);
    for (const QString& title : alert.buttons) {
        const bool first = !m_default;
        auto* button =
            new OVButton(title, {first ? OVButtonStyle::Kind::primary : OVButtonStyle::Kind::ghost});
        button->setMinimumWidth(button->sizeHint().width());
        if (first) m_default = button;
        QObject::connect(button, &QAbstractButton::clicked, this, [choose, title] { choose(title); });
        buttons->addWidget(button);
    }
}
