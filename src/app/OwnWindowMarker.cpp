#include "app/OwnWindowMarker.h"

#include "os/linux/OwnWindowMarks.h"

#include <QApplication>
#include <QEvent>
#include <QPainter>
#include <QTimer>
#include <QWidget>
#include <cmath>

namespace {

// The row, at the window's top-left corner, drawn pixel for pixel of the screen whatever the scale.
class MarkRow final : public QWidget {
public:
    explicit MarkRow(QWidget& window) : QWidget(&window) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        place();
        show();
        raise();
    }

    void place() {
        const qreal scale = devicePixelRatioF();
        setGeometry(0, 0, int(std::ceil(os::ownmarks::length / scale)), 1);
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        const qreal scale = devicePixelRatioF();
        const QSize device = (QSizeF(window()->size()) * scale).toSize();
        const auto row = os::ownmarks::row(device);
        QPainter painter(this);
        painter.scale(1 / scale, 1 / scale);
        for (int i = 0; i < os::ownmarks::length; ++i)
            painter.fillRect(i, 0, 1, 1, QColor::fromRgb(row[i]));
    }
};

MarkRow* markOf(QObject* object) {
    return object->findChild<MarkRow*>(QString(), Qt::FindDirectChildrenOnly);
}

} // namespace

OwnWindowMarker::OwnWindowMarker(QApplication& app) : QObject(&app) {
    app.installEventFilter(this);
}

bool OwnWindowMarker::eventFilter(QObject* watched, QEvent* event) {
    auto* widget = qobject_cast<QWidget*>(watched);
    if (!widget || !widget->isWindow()) return false;
    switch (event->type()) {
    case QEvent::Show:
        if (!markOf(widget)) new MarkRow(*widget);
        recount();
        break;
    case QEvent::Hide:
        recount();
        break;
    case QEvent::Resize:
        if (MarkRow* mark = markOf(widget)) mark->place();
        break;
    case QEvent::ChildAdded:
        // A child added later would cover the row.
        if (MarkRow* mark = markOf(widget)) QTimer::singleShot(0, mark, [mark] { mark->raise(); });
        break;
    default:
        break;
    }
    return false;
}

void OwnWindowMarker::recount() {
    // After the event: a window that hides is still visible while its Hide is delivered.
    QTimer::singleShot(0, this, [] {
        int shown = 0;
        for (QWidget* window : QApplication::topLevelWidgets())
            if (window->isVisible() && markOf(window)) ++shown;
        os::ownmarks::setShown(shown);
    });
}
