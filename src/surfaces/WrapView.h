#pragma once

#include "surfaces/WindowView.h"

#include <memory>

class Browser;
class OVLabel;
class QScrollArea;
class WindowBox;
class WrapModel;

// The end-of-day window's content, drawn from its run's model and redrawn at each change: the title with a
// spinner while the server writes, the phase or the error, the day as the server wrote it, and "Open board"
// (the default action, when there is a board) and "Close". The view shares the model with its run, so
// either may go first.
class WrapView : public WindowView {
    Q_OBJECT
public:
    static inline const QString windowKey = QStringLiteral("wrap");
    static inline const QString title = QStringLiteral("End my day");

    WrapView(std::shared_ptr<WrapModel> model, Browser& browser, QWidget* parent = nullptr);

    // Shows the model in the box's end-of-day window: the open one, its earlier run's view replaced, or a new
    // one; either way in front as the active window.
    static QWidget* open(WindowBox& box, std::shared_ptr<WrapModel> model, Browser& browser);

    QSize sizeHint() const override;
    // The window keeps its size; the day scrolls inside it.
    bool hasHeightForWidth() const override { return false; }

private:
    void refresh();
    QWidget* dayContent() const;

    std::shared_ptr<WrapModel> m_model;
    QWidget* m_spinner = nullptr;
    OVLabel* m_phase = nullptr;
    OVLabel* m_error = nullptr;
    QScrollArea* m_scroll = nullptr;
};
