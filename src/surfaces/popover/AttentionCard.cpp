#include "surfaces/popover/AttentionCard.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVChip.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/Symbol.h"
#include "surfaces/popover/ClampedText.h"

#include <QBoxLayout>
#include <QPainter>

namespace {
constexpr int titleLines = 3;
constexpr int detailLines = 3;
constexpr int symbolSize = 14;
} // namespace

AttentionCard::AttentionCard(const PanelActions& actions, QWidget* parent)
    : QAbstractButton(parent), m_actions(actions), m_tag(new OVChip({})),
      m_title(new ClampedText(OVFont::sans(9.5, QFont::Medium), ClampedText::Ink::text, titleLines)),
      m_detail(new ClampedText(OVFont::sans(8.5), ClampedText::Ink::secondary, detailLines)) {
    setAttribute(Qt::WA_Hover);
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(12, 10, 12, 12);
    column->setSpacing(5);
    auto* head = new QHBoxLayout;
    head->setContentsMargins(0, 0, symbolSize + 2, 0); // room for the open symbol
    head->addWidget(m_tag);
    head->addStretch();
    column->addLayout(head);
    column->addWidget(m_title);
    column->addWidget(m_detail);
    connect(this, &QAbstractButton::clicked, this, [this] {
        if (m_attn.open) m_actions.run(*m_attn.open);
    });
}

void AttentionCard::setValue(const Attn& attn) {
    if (attn == m_attn) return;
    const bool sameButtons = attn.buttons == m_attn.buttons && attn.stacked == m_attn.stacked;
    m_attn = attn;
    m_tag->setValue({attn.tag, attn.tone});
    m_title->setText(attn.title);
    m_detail->setText(attn.detail.value_or(QString()));
    m_detail->setVisible(attn.detail.has_value());
    setCursor(attn.open ? Qt::PointingHandCursor : Qt::ArrowCursor);
    if (!sameButtons || !m_buttonBox) makeButtons();
    update();
}

void AttentionCard::makeButtons() {
    delete m_buttonBox;
    m_buttons.clear();
    m_buttonBox = nullptr;
    if (m_attn.buttons.isEmpty()) return;
    m_buttonBox = new QWidget;
    auto* box =
        new QBoxLayout(m_attn.stacked ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight, m_buttonBox);
    box->setContentsMargins(0, 2, 0, 0);
    box->setSpacing(m_attn.stacked ? 0 : 2);
    for (const MBtn& b : m_attn.buttons) {
        using Kind = OVButtonStyle::Kind;
        auto* button = new OVButton(b.title, {b.primary ? Kind::primary : Kind::ghost, 26, m_attn.stacked});
        // Side by side, a long title shrinks its button instead of widening the card.
        if (!m_attn.stacked) button->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
        connect(button, &QAbstractButton::clicked, this, [this, id = b.id] { m_actions.run(id); });
        box->addWidget(button);
        m_buttons.append(button);
    }
    if (!m_attn.stacked) box->addStretch();
    static_cast<QBoxLayout*>(layout())->addWidget(m_buttonBox);
    m_buttonBox->show();
}

void AttentionCard::select(const std::optional<QString>& id) {
    const bool selected = id && id == m_attn.open;
    if (selected != m_selected) {
        m_selected = selected;
        update();
    }
    for (qsizetype i = 0; i < m_buttons.size(); ++i) {
        OVButtonStyle style = m_buttons[i]->value();
        const bool on = id && *id == m_attn.buttons[i].id;
        if (style.selected == on) continue;
        style.selected = on;
        m_buttons[i]->setValue(style);
    }
}

QRect AttentionCard::areaOf(const QString& id) const {
    for (qsizetype i = 0; i < m_buttons.size(); ++i)
        if (m_attn.buttons[i].id == id)
            return QRect(m_buttons[i]->mapTo(this, QPoint(0, 0)), m_buttons[i]->size());
    return id == m_attn.open ? rect() : QRect();
}

void AttentionCard::paintEvent(QPaintEvent*) {
    const Pal& pal = palOf(this);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF body = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    p.setPen(QPen(m_selected ? pal.ac : pal.ln2, m_selected ? 1.5 : 1));
    p.setBrush(m_attn.open && (underMouse() || isDown()) ? pal.bg3 : pal.bg2);
    p.drawRoundedRect(body, 10, 10);
    if (m_attn.open)
        Symbol::paint(p, QStringLiteral("arrow.up.right.square"),
                      QRectF(width() - 12 - symbolSize, 12, symbolSize, symbolSize), pal.tx3);
}
