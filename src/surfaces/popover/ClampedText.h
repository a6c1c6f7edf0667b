#pragma once

#include "surfaces/menu/Tone.h"

#include <QFont>
#include <QWidget>
#include <optional>

// Text wrapped to the width it is given, at most `maxLines` lines, the last cut with "…". A word longer than
// a line breaks anywhere, so no text widens what holds it.
class ClampedText : public QWidget {
public:
    enum class Ink { text, secondary, tertiary };

    ClampedText(const QFont& font, Ink ink, int maxLines, QWidget* parent = nullptr);

    void setText(const QString& text);
    const QString& text() const { return m_text; }
    // A tone's colour instead of the ink; none goes back to the ink.
    void setTone(std::optional<Tone> tone);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    // The lines as drawn at `width`. Layouts ask for the same width many times in one pass: the last answer
    // is kept.
    const QStringList& linesAt(int width) const;

    QString m_text;
    Ink m_ink;
    std::optional<Tone> m_tone;
    int m_maxLines;
    mutable int m_linesWidth = -1;
    mutable QStringList m_lines;
};
