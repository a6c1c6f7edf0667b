#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>
#include <functional>

class QWidget;

// The app's small windows, one per key ("settings", "wrap"): ordinary top-level windows with a task bar
// entry. A closed window is deleted with its view and made anew next time; closing one never quits the app
// (the application is told not to quit on its last window). Main thread.
class WindowBox : public QObject {
    Q_OBJECT
public:
    // `activate` brings a shown window to the user's current desktop and makes it the active window through
    // the window manager, which refuses a program's own request while the user works elsewhere. May be empty
    // where the desktop places windows by itself.
    explicit WindowBox(std::function<void(QWidget& window)> activate = {}, QObject* parent = nullptr);
    ~WindowBox() override;
    WindowBox(const WindowBox&) = delete;
    WindowBox& operator=(const WindowBox&) = delete;

    // Shows `view` (taking it) in the window of `key`: the open one, its earlier view replaced, or a new one
    // with `title`, centred. Either way the window comes to the front as the active window.
    QWidget* show(const QString& key, const QString& title, QWidget* view);
    // The open window of `key`, when there is one.
    QWidget* window(const QString& key) const;

signals:
    void closed(const QString& key);

private:
    void bringForward(QWidget& window);

    std::function<void(QWidget&)> m_activate;
    QHash<QString, QPointer<QWidget>> m_windows;
};
