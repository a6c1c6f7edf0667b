#include "surfaces/popover/PanelHeader.h"

#include "surfaces/design/OVFont.h"
#include "surfaces/design/Wordmark.h"
#include "surfaces/popover/ClampedText.h"

#include <QBoxLayout>

PanelHeader::PanelHeader(QWidget* parent)
    : QWidget(parent),
      m_name(new ClampedText(OVFont::sans(11.5, QFont::DemiBold), ClampedText::Ink::text, 1)),
      m_sub(new ClampedText(OVFont::sans(9), ClampedText::Ink::secondary, 1)),
      m_status(new ClampedText(OVFont::mono(8, QFont::Medium), ClampedText::Ink::secondary, 2)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(2, 0, 2, 0);
    column->setSpacing(1);
    column->addWidget(new Wordmark());
    column->addSpacing(4);
    column->addWidget(m_name);
    column->addWidget(m_sub);
    column->addSpacing(2);
    column->addWidget(m_status);
}

void PanelHeader::setLines(const QString& name, const QString& sub, const QString& status, Tone tone) {
    m_name->setText(name);
    m_sub->setText(sub);
    m_status->setText(status);
    m_status->setTone(tone);
}
