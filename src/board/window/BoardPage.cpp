#include "board/window/BoardPage.h"

#include "board/window/Board.h"

BoardPage::BoardPage(QWebEngineProfile* profile, Board& board, QObject* parent)
    : QWebEnginePage(profile, parent), m_board(board) {
    // The page may not listen or watch: camera and microphone are never granted.
    connect(this, &QWebEnginePage::featurePermissionRequested, this,
            [this](const QUrl& origin, QWebEnginePage::Feature feature) {
                switch (feature) {
                case MediaAudioCapture:
                case MediaVideoCapture:
                case MediaAudioVideoCapture:
                case DesktopVideoCapture:
                case DesktopAudioVideoCapture:
                    setFeaturePermission(origin, feature, PermissionDeniedByUser);
                    break;
                default:
                    break;
                }
            });
}

bool BoardPage::acceptNavigationRequest(const QUrl& url, NavigationType, bool isMainFrame) {
    return m_board.acceptNavigation(url, isMainFrame);
}

QWebEnginePage* BoardPage::createWindow(WebWindowType) {
    return new PopupProbe(profile(), m_board, this);
}

PopupProbe::PopupProbe(QWebEngineProfile* profile, Board& board, QObject* parent)
    : QWebEnginePage(profile, parent), m_board(board) {}

bool PopupProbe::acceptNavigationRequest(const QUrl& url, NavigationType, bool isMainFrame) {
    if (!isMainFrame || m_read) return false;
    m_read = true;
    deleteLater();
    m_board.popup(url);
    return false;
}
