#include "app/BoardCheck.h"

#include "board/window/Board.h"

#include <QImage>
#include <QTimer>
#include <QWebEnginePage>
#include <QWebEngineView>

namespace {
const QUrl foreign(QStringLiteral("https://example.com/board-check"));
}

BoardCheck::BoardCheck(Board& board, QString shot, std::function<void(const QString&)> print, QObject* parent)
    : QObject(parent), m_board(board), m_shot(std::move(shot)), m_print(std::move(print)) {}

void BoardCheck::start() {
    connect(&m_board, &Board::exchangeStarted, this, [this] { ++m_exchanges; });
    connect(&m_board, &Board::pageFinished, this, &BoardCheck::pageFinished);
    connect(&m_board, &Board::handedToBrowser, this, [this](const QUrl& url) {
        if (url != foreign || m_done) return;
        const bool stayed = m_board.currentURL() == m_boardPage;
        m_print(QStringLiteral("board-check: %1 went to the browser, the window %2")
                    .arg(url.toString(),
                         stayed ? QStringLiteral("stayed on the board") : QStringLiteral("left the board")));
        if (!stayed) ++m_failures;
        end();
    });
    QTimer::singleShot(std::chrono::seconds(deadlineSeconds), this,
                       [this] { fail(QStringLiteral("no answer within %1 s").arg(deadlineSeconds)); });
    m_print(QStringLiteral("board-check: opening %1").arg(m_board.home().toString()));
    m_board.show(std::nullopt);
}

void BoardCheck::pageFinished(const QUrl& url, bool ok) {
    if (m_landed || m_done) return;
    const QString path = url.path();
    const bool boardPage = ok && url.scheme().startsWith(QLatin1String("http")) &&
                           path.startsWith(QLatin1String("/app")) &&
                           !path.startsWith(QLatin1String("/auth/"));
    if (!boardPage) {
        m_print(QStringLiteral("board-check: passing %1 (%2)").arg(url.toString(), ok ? "loaded" : "failed"));
        return;
    }
    m_landed = true;
    m_boardPage = url;
    m_print(QStringLiteral("board-check: board page %1 after %2 exchange(s)")
                .arg(url.toString())
                .arg(m_exchanges));
    if (m_exchanges > 1) ++m_failures;
    m_board.whenPainted([this](const QImage& image) {
        const bool painted = !Board::isBlank(image);
        m_print(painted ? QStringLiteral("board-check: the page painted")
                        : QStringLiteral("board-check: the page stayed blank"));
        if (!painted) ++m_failures;
        if (!m_shot.isEmpty())
            m_print(image.save(m_shot, "PNG") ? QStringLiteral("board-check: picture in ") + m_shot
                                              : QStringLiteral("board-check: could not write ") + m_shot);
        tryForeign();
    });
}

void BoardCheck::tryForeign() {
    auto* view = qobject_cast<QWebEngineView*>(m_board.window()->findChild<QWebEngineView*>());
    if (!view) return fail(QStringLiteral("the window has no web view"));
    view->page()->runJavaScript(QStringLiteral("location.href = '%1'").arg(foreign.toString()));
}

void BoardCheck::fail(const QString& why) {
    if (m_done) return;
    m_print(QStringLiteral("board-check: failed: ") + why);
    ++m_failures;
    end();
}

void BoardCheck::end() {
    m_done = true;
    m_print(m_failures ? QStringLiteral("board-check: %1 failure(s)").arg(m_failures)
                       : QStringLiteral("board-check: passed"));
    emit finished(m_failures);
}
