#pragma once

#include <QWebEnginePage>

class Board;

// The board's page: every navigation asks the board, and a pop-up becomes a probe that only reads the first
// address it is sent to.
class BoardPage : public QWebEnginePage {
    Q_OBJECT
public:
    BoardPage(QWebEngineProfile* profile, Board& board, QObject* parent = nullptr);

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override;
    QWebEnginePage* createWindow(WebWindowType type) override;

private:
    Board& m_board;
};

// A pop-up's stand-in: it is never shown, hands its first address to the board and goes.
class PopupProbe : public QWebEnginePage {
    Q_OBJECT
public:
    PopupProbe(QWebEngineProfile* profile, Board& board, QObject* parent = nullptr);

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override;

private:
    Board& m_board;
    bool m_read = false;
};
