#pragma once

#include "surfaces/design/Pal.h"

#include <QWidget>
#include <memory>

class Browser;
class OVButton;
class OVLabel;
class QScrollArea;
class WindowBox;
class WrapModel;

// The end-of-day window's content, drawn from its run's model and redrawn at each change: the title with a
// spinner while the server writes, the phase or the error, the day as the server wrote it, and "Open board"
// (the default action, when there is a board) and "Close". The view shares the model with its run, so
// either may go first.
class WrapView : public QWidget {
    Q_OBJECT
public:
    static inline const QString windowKey = QStringLiteral("wrap");
    static inline const QString title = QStringLiteral("End my day");

    WrapView(std::shared_ptr<WrapModel> model, Browser& browser, QWidget* parent = nullptr);
    ~WrapView() override;

    // Shows the model in the box's end-of-day window: the open one, its earlier run's view replaced, or a new
    // one; either way in front as the active window.
    static QWidget* open(WindowBox& box, std::shared_ptr<WrapModel> model, Browser& browser);

    // Draws in this scheme whatever the desktop's, for pictures.
    void useScheme(ColorScheme scheme);
    QSize sizeHint() const override;
    // The window keeps its size; the day scrolls inside it.
    bool hasHeightForWidth() const override { return false; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void refresh();
    QWidget* dayContent() const;

    std::shared_ptr<WrapModel> m_model;
    QWidget* m_spinner = nullptr;
    OVLabel* m_phase = nullptr;
    OVLabel* m_error = nullptr;
    QScrollArea* m_scroll = nullptr;
    OVButton* m_board = nullptr;
    bool m_fixedScheme = false;
};
