#pragma once

#include <QImage>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QWidget>
#include <functional>
#include <optional>

class QScreen;

// One screen's part of the region picker: the frozen screenshot, dimmed, with the chosen rectangle clear.
class RegionOverlay : public QWidget {
    Q_OBJECT
public:
    RegionOverlay(QScreen* screen, QImage frozen);

    // The chosen part of the frozen screenshot, in its own pixels; empty when nothing is chosen.
    QImage selection() const;
    // Takes the keyboard as soon as the window is on screen (X grants no grab before), so Esc always reaches
    // it.
    void holdKeyboard() { m_wantsKeyboard = true; }

signals:
    void taken();
    void cancelled();

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent* e) override;
    void mouseMoveEvent(QMouseEvent* e) override;
    void mouseReleaseEvent(QMouseEvent* e) override;
    void keyPressEvent(QKeyEvent* e) override;
    void closeEvent(QCloseEvent* e) override;

private:
    // From the press to the pointer, as many pixels wide as the pointer moved.
    QRect chosen() const;
    bool hasSelection() const;

    QImage m_frozen;
    QPoint m_anchor, m_point;
    bool m_dragging = false;
    bool m_done = false;
    bool m_wantsKeyboard = false;
    bool m_holdsKeyboard = false;
};

// Lets the user drag out a rectangle of the screen. Every screen is frozen under a frameless overlay; release
// or Enter takes the rectangle, Esc, a click without a drag, or a window closed from outside cancels. It
// deletes itself once it has answered.
class RegionPicker : public QObject {
    Q_OBJECT
public:
    using Completion = std::function<void(std::optional<QImage>)>;
    // The picture a screen is frozen as; a null image lets Qt grab the screen as it is.
    using Freeze = std::function<QImage(QScreen&)>;

    static RegionPicker* start(Completion completion, const Freeze& freeze = {});

private:
    explicit RegionPicker(Completion completion);
    void finish(std::optional<QImage> region);

    Completion m_completion;
    QList<QPointer<RegionOverlay>> m_overlays;
    bool m_finished = false;
};
