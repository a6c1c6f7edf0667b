#include "surfaces/popover/WorkdayRow.h"

#include "surfaces/design/Appearance.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/Symbol.h"
#include "surfaces/popover/ClampedText.h"

#include <QBoxLayout>
#include <QPainter>

namespace {
constexpr int symbolColumn = 32; // the text lines up with the rows' titles
}

WorkdayRow::WorkdayRow(const PanelActions& actions, QWidget* parent)
    : QWidget(parent), m_line(new ClampedText(OVFont::sans(9), ClampedText::Ink::secondary, 2)),
      m_button(new OVButton({}, {OVButtonStyle::Kind::ghost, 24})) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(symbolColumn, 0, 0, 0);
    row->setSpacing(8);
    row->addWidget(m_line, 1, Qt::AlignVCenter);
    row->addWidget(m_button, 0, Qt::AlignVCenter);
    connect(m_button, &QAbstractButton::clicked, this, [this, &actions] {
        if (m_value.button) actions.run(m_value.button->id);
    });
}

void WorkdayRow::setValue(const WorkdayLine& value) {
    if (value == m_value) return;
    m_value = value;
    m_line->setText(value.line);
    m_button->setVisible(value.button.has_value());
    if (value.button && value.button->title != m_button->text()) {
        m_button->setText(value.button->title);
        m_button->updateGeometry();
    }
}

void WorkdayRow::select(const std::optional<QString>& id) {
    const bool selected = id && m_value.button && *id == m_value.button->id;
    if (m_button->value().selected == selected) return;
    OVButtonStyle style = m_button->value();
    style.selected = selected;
    m_button->setValue(style);
}

QRect WorkdayRow::areaOf(const QString& id) const {
    return m_value.button && id == m_value.button->id ? m_button->geometry() : QRect();
}

void WorkdayRow::paintEvent(QPaintEvent*) {
    QPainter p(this);
    Symbol::paint(p, QStringLiteral("clock"), QRectF(10, (height() - 14) / 2.0, 14, 14), palOf(this).tx2);
}
