#pragma once

#include "surfaces/design/ValueWidget.h"

#include <QAbstractButton>

struct OVButtonStyle {
    enum class Kind { primary, ghost, quiet, danger };
    Kind kind = Kind::ghost;
    int height = 28;
    bool full = false;     // takes the whole width
    bool selected = false; // draws the keyboard focus ring
};

// A button: primary is the accent fill, ghost a line without fill, quiet neither, danger red.
class OVButton : public ValueWidget<OVButtonStyle, QAbstractButton> {
public:
    OVButton(const QString& title, OVButtonStyle style, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void valueChanged() override;
};
