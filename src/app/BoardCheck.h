#pragma once

#include <QObject>
#include <QUrl>
#include <functional>

class Board;

// The board window checked live on this display: its home opens as a board page after at most one
// one-time login, and a foreign page goes to the browser and leaves the window where it was. Each step is a
// "board-check: …" line; `finished` carries the number of failures.
class BoardCheck : public QObject {
    Q_OBJECT
public:
    static constexpr int deadlineSeconds = 60;

    // `shot`: where the picture of the painted page goes, when wanted.
    BoardCheck(Board& board, QString shot, std::function<void(const QString&)> print,
               QObject* parent = nullptr);
    void start();

signals:
    void finished(int failures);

private:
    void pageFinished(const QUrl& url, bool ok);
    void tryForeign();
    void fail(const QString& why);
    void end();

    Board& m_board;
    QString m_shot;
    std::function<void(const QString&)> m_print;
    int m_exchanges = 0;
    int m_failures = 0;
    bool m_landed = false;
    bool m_done = false;
    QUrl m_boardPage;
};
