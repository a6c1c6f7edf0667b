#pragma once

#include "surfaces/design/Pal.h"

#include <QWidget>

// The content of one of the app's own windows: drawn on the palette's window ground, with Qt's own controls
// (fields, scroll bars) in the palette's colours, both following the desktop's light or dark setting.
class WindowView : public QWidget {
public:
    explicit WindowView(QWidget* parent = nullptr);

    // Draws in this scheme whatever the desktop's, for pictures.
    void useScheme(ColorScheme scheme);

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    bool m_fixedScheme = false;
};
