#pragma once

#include <QColor>
#include <QWidget>
#include <functional>

class QLabel;
class QToolBar;
class QWebEnginePage;
class QWebEngineView;
class QAction;

// The board's window: a slim toolbar (back, forward, the page's title, reload) over the web view, and the
// window keys of a browser. Actions go to the board through the callbacks.
class BoardWindow : public QWidget {
    Q_OBJECT
public:
    struct Actions {
        std::function<void()> back, forward, reload, zoomIn, zoomOut, zoomReset, home, settings, quit;
    };

    BoardWindow(QWebEnginePage* page, Actions actions);

    QWebEngineView* view() const { return m_view; }
    // The page's title in the title bar and the toolbar; "Orvane" for none.
    void setPageTitle(const QString& title);
    void revalidate();
    // The window's chrome takes the page's own background, light or dark.
    void setChrome(const QColor& background, bool light);

signals:
    void closing();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void addKeys(const Actions& actions);

    QWebEngineView* m_view;
    QToolBar* m_toolbar;
    QLabel* m_title;
    QAction* m_back;
    QAction* m_forward;
    QAction* m_reload;
};
