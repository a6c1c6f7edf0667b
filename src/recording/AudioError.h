#pragma once

#include <QByteArray>
#include <QString>
#include <exception>

// The one failure type of the audio code. Its text is shown and logged as it stands.
class AudioError : public std::exception {
public:
    enum class Kind { Format, Convert, Export };

    AudioError(Kind kind, QString text);

    Kind kind() const { return m_kind; }
    const QString& text() const { return m_text; }
    const char* what() const noexcept override { return m_utf8.constData(); }

private:
    Kind m_kind;
    QString m_text;
    QByteArray m_utf8;
};
