#pragma once

#include <QObject>

class QApplication;

// On a Wayland desktop, which shares the screen with our windows in it and does not say where they are,
// every top-level window of ours carries the row of pixels that names it and its size (OwnWindowMarks), so
// that the recording finds each one in a frame and paints it out. Keeps the count of such windows on screen
// for the frames' thread. Main thread.
class OwnWindowMarker final : public QObject {
public:
    explicit OwnWindowMarker(QApplication& app);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void recount();
};
