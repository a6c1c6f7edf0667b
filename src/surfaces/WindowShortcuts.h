#pragma once

#include <QObject>
#include <functional>

// The keys every Orvane window answers to, in any of its windows: Ctrl+Q quits (through the controller's
// answer, like every other way to quit), Ctrl+W closes the window. Text fields keep their own editing keys.
class WindowShortcuts : public QObject {
    Q_OBJECT
public:
    explicit WindowShortcuts(std::function<void()> quit, QObject* parent = nullptr);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::function<void()> m_quit;
};
