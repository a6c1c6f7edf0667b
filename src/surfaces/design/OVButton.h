#pragma once

#include "surfaces/design/ValueWidget.h"

#include <QAbstractButton>

class QPainter;
struct Pal;

struct OVButtonStyle {
    enum class Kind { primary, ghost, quiet, danger };
    Kind kind = Kind::ghost;
    int height = 28;
    bool full = false;     // takes the whole width
    bool selected = false; // draws the keyboard focus ring
};

// The keyboard's focus ring round a control's rounded body, in the 3 pixels outside it.
void paintFocusRing(QPainter& painter, const QRectF& body, double radius, const Pal& pal);

// A button: primary is the accent fill, ghost a line without fill, quiet neither, danger red.
class OVButton : public ValueWidget<OVButtonStyle, QAbstractButton> {
public:
    OVButton(const QString& title, OVButtonStyle style, QWidget* parent = nullptr);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void valueChanged() override;
};
