#include "recording/AudioError.h"

AudioError::AudioError(Kind kind, QString text)
    : m_kind(kind), m_text(std::move(text)), m_utf8(m_text.toUtf8()) {}
