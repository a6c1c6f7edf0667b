#pragma once

#include <QAbstractButton>

// A switch with its text: a click anywhere on it, or Space with the keyboard focus, turns it over. Off, the
// track is the control colour; on, the accent fill. Disabled, it keeps its position and dims.
class OVToggle : public QAbstractButton {
public:
    explicit OVToggle(const QString& text, QWidget* parent = nullptr);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
};
