#pragma once

#include <QObject>

class QSocketNotifier;

// SIGINT and SIGTERM as a Qt signal on the main thread, so that they take the same road as every other quit.
class UnixSignals : public QObject {
    Q_OBJECT
public:
    explicit UnixSignals(QObject* parent = nullptr);

signals:
    void terminationRequested();

private:
    QSocketNotifier* m_notifier = nullptr;
};
