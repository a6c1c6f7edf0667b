#pragma once

#include <QLabel>

// Wrapped text in one of the palette's inks, kept in step with the scheme.
class OVLabel : public QLabel {
public:
    enum class Ink { text, secondary, tertiary, accent, warning, red };

    OVLabel(const QString& text, const QFont& font, Ink ink, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void applyInk();
    Ink m_ink;
};
