#pragma once

#include "surfaces/design/ValueWidget.h"

#include <QString>

struct Pal;

struct KbdValue {
    QString text;
};

// A key hint in a small monospaced box.
class Kbd : public ValueWidget<KbdValue> {
public:
    explicit Kbd(KbdValue value, QWidget* parent = nullptr);
    QSize sizeHint() const override;

    // The same box drawn inside another component.
    static QSize sizeFor(const QString& text);
    static void paint(QPainter& painter, const QRect& box, const QString& text, const Pal& pal);

protected:
    void paintEvent(QPaintEvent* event) override;
};
