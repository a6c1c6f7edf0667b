#pragma once

#include "board/window/Board.h"
#include "surfaces/Browser.h"

// The app's pages as the flows open them: the board's in the board window, anything else in the browser.
class BoardPages final : public Browser {
public:
    explicit BoardPages(Board& board) : m_board(board) {}
    bool open(const QUrl& url) override {
        m_board.open(url);
        return true;
    }

private:
    Board& m_board;
};
