#pragma once

#include "board/AppSession.h"
#include "board/SessionLinks.h"
#include "board/window/CookieMirror.h"
#include "board/window/DockPolicy.h"
#include "core/Clock.h"

#include <QColor>
#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QTemporaryDir>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>

class Browser;
class BoardWindow;
class QNetworkAccessManager;
class QWebEngineDownloadRequest;
class QWebEngineProfile;
class Settings;

// The platform's web board in a window of its own: one window, one page, made at the first `show` so an
// idle app runs no web engine. The window trades the account key for a one-time web login whenever the page
// lands on the sign-in page or no web session exists; everything that is not the platform goes to the
// browser. Main thread only.
class Board : public QObject {
    Q_OBJECT
public:
    struct Inputs {
        Settings& settings;
        Browser& browser;
        QNetworkAccessManager& network;
        Clock now;
        // The web profile's folder; empty for a throw-away profile that leaves nothing behind.
        QString storage;
    };

    static inline const QColor darkBG = QColor(7, 8, 11);
    // Between two one-time logins: a login that keeps landing on the sign-in page must not loop.
    static constexpr int exchangeCooldownSeconds = 20;

    // Before the application object exists: the app's link scheme reaches the board's own navigation rules,
    // never the desktop's handler, and the engine's sandbox stays on wherever Chromium allows it.
    static void prepareEngine();

    explicit Board(Inputs inputs, QObject* parent = nullptr);
    ~Board() override;

    // Runs beside another copy's session (a check): nothing of the web session is read or kept. Before the
    // first `show`.
    void useThrowawayProfile() { m_in.storage.clear(); }

    bool isOpen() const;
    std::optional<QUrl> currentURL() const;
    // The window, while open (for checks and pictures of it).
    QWidget* window() const;
    QUrl home() const;

    // Brings the window forward and goes to `target`; an open window without target stays on its page.
    // `token`: the start's activation token or startup id, which lets the window manager focus the window.
    void show(const std::optional<QUrl>& target, const QString& token = {});
    // A link of the app's scheme, a board page, or anything else (the browser).
    void open(const QUrl& url);
    void openDeepLink(const QUrl& url, const QString& token = {});
    void openFromMenu() { show(std::nullopt); }
    void signedIn();
    void signedOut();

    void goBack();
    void goForward();
    void reload();
    void zoomIn();
    void zoomOut();
    void zoomReset();
    // Runs `then` with a picture of the window once its page has painted; a page still of one colour is
    // waited for, up to five seconds, then taken as it is.
    void whenPainted(std::function<void(const QImage&)> then, int tries = 0);
    // Writes that picture as a PNG (logged).
    void writeShot(const QString& path);

    // Pure rules of the window.
    static std::optional<QString> pathAndQuery(const QUrl& url);
    static bool isHomePath(const QUrl& url);
    static std::optional<QColor> parseCSSColor(const QString& text);
    static double luminance(const QColor& colour);
    // The name in `dir` that is neither a file nor in `taken`: "notes.pdf", then "notes 2.pdf",
    // "notes 3.pdf".
    static QString uniqueFile(const QString& dir, const QString& name, const QSet<QString>& taken = {});
    // One colour all over, as a web view is before it paints.
    static bool isBlank(const QImage& image);
    // The page shown when the platform cannot be reached.
    static QString failurePage(const QString& base, const QString& description);

    // Called by the page for every navigation of a frame; true lets it go on.
    bool acceptNavigation(const QUrl& url, bool mainFrame);
    // The first address a pop-up asked for: it never gets a window of its own.
    void popup(const QUrl& url);

signals:
    // Each page that finished loading, and whether it loaded.
    void pageFinished(const QUrl& url, bool ok);
    void windowOpened();
    // The window's keys for the settings window and for quitting.
    void settingsWanted();
    void quitWanted();
    void windowClosed();
    void downloadFinished(const QString& path, bool ok);
    // A one-time login exchange went to the server.
    void exchangeStarted();
    // A page the window does not show went to the browser.
    void handedToBrowser(const QUrl& url);

private:
    void createWindow();
    void ensureProfile();
    void navigate(const QUrl& url);
    void load(const QUrl& url);
    QCoro::Task<> exchange(QUrl target);
    QCoro::Task<> endWebSession(QByteArray session);
    QUrl signinURL(const QUrl& target) const;
    bool isSigninPage(const QUrl& url) const;
    QUrl nextTarget(const QUrl& from) const;
    void finished(bool ok);
    void loadFailed(const QString& description);
    void applyPageColour(const QColor& colour);
    void download(QWebEngineDownloadRequest* request);
    void closed();
    void setDock(bool open);

    Inputs m_in;
    SessionLinks m_links;
    CookieMirror m_cookies;
    std::unique_ptr<QTemporaryDir> m_throwaway;
    QWebEngineProfile* m_profile = nullptr;
    QPointer<BoardWindow> m_window;
    QPointer<BoardWindow> m_closing;

    std::optional<QUrl> m_lastRequested;
    std::optional<QUrl> m_pendingTarget;
    bool m_exchanging = false;
    QDateTime m_lastExchange;
    bool m_webSignedOut = false;
    QHash<QWebEngineDownloadRequest*, QString> m_downloads;
    DockPolicy::Policy m_dock = DockPolicy::Policy::accessory;
};
