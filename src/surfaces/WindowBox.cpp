#include "surfaces/WindowBox.h"

#include "surfaces/ActivateWhenShown.h"

#include <QBoxLayout>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QWindow>

namespace {

// One window of the box: the view in a scroll area, so that a tall view still fits a small screen.
class BoxWindow : public QWidget {
public:
    explicit BoxWindow(std::function<void()> closing) : m_closing(std::move(closing)) {
        setAttribute(Qt::WA_DeleteOnClose);
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        m_scroll = new QScrollArea;
        m_scroll->setWidgetResizable(true);
        m_scroll->setFrameShape(QFrame::NoFrame);
        m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        layout->addWidget(m_scroll);
    }

    // The view's minimum size is the window's, as far as the screen allows.
    void setView(QWidget* view) {
        delete m_scroll->takeWidget();
        m_scroll->setWidget(view);
        view->installEventFilter(this);
        setMinimumSize(view->minimumSize().boundedTo(screenRoom().size()));
    }

    // The view's own size, as far as the screen allows, centred. Wrapped text is measured at the view's
    // width, not at the narrow width its size hint assumes.
    void fitToView() {
        const QRect room = screenRoom();
        const int width =
            std::min(std::max(view()->sizeHint().width(), view()->minimumWidth()), room.width());
        const int height = std::min(heightAt(width), room.height());
        const int scrollBar = m_scroll->verticalScrollBar()->sizeHint().width();
        resize(height < heightAt(width) ? width + scrollBar : width, height);
        move(room.center() - rect().center());
    }

protected:
    void showEvent(QShowEvent* event) override {
        QWidget::showEvent(event);
        // Where the window manager places it is known once it is exposed.
        windowHandle()->installEventFilter(this);
    }

    void closeEvent(QCloseEvent* event) override {
        if (m_closing) std::exchange(m_closing, {})();
        QWidget::closeEvent(event);
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        // A view that grows (a sign-in's projects arriving) makes its window taller, as far as the screen
        // allows, rather than hide its bottom row below a scroll.
        if (watched == view() && event->type() == QEvent::LayoutRequest && isVisible()) {
            const QRect room = screenRoom();
            const int wanted = std::min(heightAt(view()->width()), room.height());
            if (wanted > height()) {
                resize(width(), wanted);
                keepOnScreen();
            }
        }
        if (watched == windowHandle() && event->type() == QEvent::Expose && windowHandle()->isExposed()) {
            windowHandle()->removeEventFilter(this);
            keepOnScreen();
        }
        return QWidget::eventFilter(watched, event);
    }

private:
    // Moves the window up as far as it reaches past the bottom of the screen.
    void keepOnScreen() {
        const QScreen* screen = QGuiApplication::primaryScreen();
        if (!screen) return;
        const QRect room = screen->availableGeometry();
        const int below = frameGeometry().bottom() - room.bottom();
        if (below > 0) move(x(), std::max(room.top(), y() - below));
    }
    QWidget* view() const { return m_scroll->widget(); }
    int heightAt(int width) const {
        return view()->hasHeightForWidth() ? view()->heightForWidth(width) : view()->sizeHint().height();
    }
    static QRect screenRoom() {
        const QScreen* screen = QGuiApplication::primaryScreen();
        const QRect room = screen ? screen->availableGeometry() : QRect(0, 0, 1024, 768);
        // Room for the window manager's frame and for wherever it places the window.
        return room.adjusted(0, 0, 0, -room.height() / 8);
    }

    std::function<void()> m_closing;
    QScrollArea* m_scroll = nullptr;
};

} // namespace

WindowBox::WindowBox(std::function<void(QWidget& window)> activate, QObject* parent)
    : QObject(parent), m_activate(std::move(activate)) {}

WindowBox::~WindowBox() {
    for (const QPointer<QWidget>& window : std::as_const(m_windows))
        delete window.data();
}

QWidget* WindowBox::window(const QString& key) const {
    return m_windows.value(key).data();
}

QWidget* WindowBox::show(const QString& key, const QString& title, QWidget* view) {
    auto* open = static_cast<BoxWindow*>(window(key));
    if (open) {
        open->setView(view);
        bringForward(*open);
        return open;
    }
    auto* made = new BoxWindow([this, key] {
        m_windows.remove(key);
        emit closed(key);
    });
    made->setWindowTitle(title);
    made->setView(view);
    made->fitToView();
    m_windows.insert(key, made);
    // A window the user did not click for may be mapped behind the one in front.
    if (m_activate) activateWhenShown(*made, [this, made](WId) { m_activate(*made); });
    made->show();
    return made;
}

void WindowBox::bringForward(QWidget& window) {
    if (window.isMinimized()) window.showNormal();
    window.show();
    window.raise();
    window.activateWindow();
    if (m_activate) m_activate(window);
}
