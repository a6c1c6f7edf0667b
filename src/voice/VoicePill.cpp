#include "voice/VoicePill.h"

VoicePill::VoicePill(std::unique_ptr<PillDisplay> display, QObject* parent)
    : QObject(parent), m_display(std::move(display)) {
    m_hide.setSingleShot(true);
    connect(&m_hide, &QTimer::timeout, this, &VoicePill::hide);
}

VoicePill::~VoicePill() = default;

void VoicePill::show(bool listening, const QString& text,
                     std::optional<std::chrono::milliseconds> hideAfter) {
    m_model = {listening, text};
    m_visible = true;
    m_hide.stop();
    if (hideAfter) m_hide.start(*hideAfter);
    if (m_display) m_display->present(m_model);
    emit changed();
}

void VoicePill::update(const QString& text) {
    m_model.text = text;
    if (m_visible && m_display) m_display->present(m_model);
    emit changed();
}

void VoicePill::hide() {
    m_hide.stop();
    if (!m_visible) return;
    m_visible = false;
    if (m_display) m_display->withdraw();
    emit changed();
}

QString VoicePill::caption(const Model& model) {
    if (!model.text.isEmpty()) return model.text;
    return model.listening ? QStringLiteral("Listening\u2026") : QStringLiteral("Didn\u2019t catch that");
}
