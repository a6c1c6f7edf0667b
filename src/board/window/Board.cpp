#include "board/window/Board.h"

#include "board/DeepLink.h"
#include "board/WebHosts.h"
#include "board/window/BoardPage.h"
#include "board/window/BoardWindow.h"
#include "core/Log.h"
#include "server/API.h"
#include "server/Platform.h"
#include "server/Settings.h"
#include "surfaces/Browser.h"

#include <QCoroNetworkReply>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QScreen>
#include <QStandardPaths>
#include <QTimer>
#include <QUrlQuery>
#include <QWebEngineCookieStore>
#include <QWebEngineDownloadRequest>
#include <QWebEngineLoadingInfo>
#include <QWebEngineProfile>
#include <QWebEngineSettings>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlScheme>
#include <QWebEngineUrlSchemeHandler>
#include <QWebEngineView>
#include <algorithm>
#include <unistd.h>

namespace {

constexpr double zoomStep = 0.1;
constexpr double zoomMin = 0.5;
constexpr double zoomMax = 2.5;
const QString frameKey = QStringLiteral("board.frame");

QString pathOf(const QUrl& url) {
    return url.path(QUrl::FullyDecoded);
}

// The engine's cookie store forgets a cookie only when told the address it belongs to.
QUrl originOf(const QNetworkCookie& cookie, const QString& base) {
    QString host = cookie.domain();
    while (host.startsWith(QLatin1Char('.')))
        host.remove(0, 1);
    const QUrl root(Platform::clean(base));
    const QString scheme = root.host().compare(host, Qt::CaseInsensitive) == 0 && !root.scheme().isEmpty()
                               ? root.scheme()
                               : QStringLiteral("https");
    QUrl origin;
    origin.setScheme(scheme);
    origin.setHost(host);
    if (root.host().compare(host, Qt::CaseInsensitive) == 0) origin.setPort(root.port());
    origin.setPath(QStringLiteral("/"));
    return origin;
}

// Answers every request of the app's scheme with a refusal.
class RefusedScheme : public QWebEngineUrlSchemeHandler {
public:
    using QWebEngineUrlSchemeHandler::QWebEngineUrlSchemeHandler;
    void requestStarted(QWebEngineUrlRequestJob* job) override {
        job->fail(QWebEngineUrlRequestJob::RequestDenied);
    }
};

} // namespace

void Board::prepareEngine() {
    QWebEngineUrlScheme scheme("orvane");
    scheme.setSyntax(QWebEngineUrlScheme::Syntax::Path);
    QWebEngineUrlScheme::registerScheme(scheme);
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    if (::geteuid() == 0 && qEnvironmentVariableIsEmpty("QTWEBENGINE_DISABLE_SANDBOX")) {
        // Chromium refuses its sandbox to root; everyone else keeps it.
        qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
        slog(QStringLiteral("board: running as root -> the web engine runs without its sandbox"));
    }
}

Board::Board(Inputs inputs, QObject* parent)
    : QObject(parent), m_in(std::move(inputs)), m_links(m_in.settings) {}

Board::~Board() {
    // Pages go before the profile they belong to.
    delete m_window.data();
    delete m_closing.data();
}

bool Board::isOpen() const {
    return !m_window.isNull();
}

std::optional<QUrl> Board::currentURL() const {
    if (!m_window) return std::nullopt;
    return m_window->view()->url();
}

QWidget* Board::window() const {
    return m_window.data();
}

QUrl Board::home() const {
    if (const auto page = DeepLink::board().webURL(m_in.settings.platformBase())) return *page;
    return QUrl(Platform::defaultBase + QStringLiteral("/app"));
}

// Opening.

void Board::show(const std::optional<QUrl>& target, const QString& token) {
    const bool existed = isOpen();
    if (!existed) createWindow();
    setDock(true);
    if (!token.isEmpty()) slog(QStringLiteral("board: activation %1").arg(token.left(80)));
    if (m_window->isMinimized()) m_window->showNormal();
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
    if (existed && !target) return;
    navigate(target.value_or(home()));
}

void Board::open(const QUrl& url) {
    if (url.scheme().compare(QLatin1String("orvane"), Qt::CaseInsensitive) == 0)
        openDeepLink(url);
    else if (WebHosts::isBoard(url, m_in.settings.platformBase()))
        show(url);
    else
        m_in.browser.open(url);
}

void Board::openDeepLink(const QUrl& url, const QString& token) {
    const QString text = url.toString(QUrl::FullyEncoded);
    const std::optional<DeepLink> link = DeepLink::parse(url);
    const std::optional<QUrl> page =
        link ? link->webURL(m_in.settings.platformBase(),
                            [this](const QString& id) { return m_links.link(id); })
             : std::nullopt;
    if (!page) {
        slog(QStringLiteral("deep link not understood: %1 -> board").arg(text.left(80)));
        show(std::nullopt, token);
        return;
    }
    QString where = page->path(QUrl::FullyEncoded);
    if (page->hasFragment()) where += QLatin1Char('#') + page->fragment(QUrl::FullyEncoded);
    slog(QStringLiteral("deep link %1 -> %2").arg(text, where));
    show(page, token);
}

void Board::ensureProfile() {
    if (m_profile) return;
    QString dir = m_in.storage;
    if (!dir.isEmpty() && !(QDir().mkpath(dir) && QFileInfo(dir).isWritable())) {
        slog(QStringLiteral("board: profile folder %1 is not writable -> nothing of the web session is kept "
                            "this run")
                 .arg(dir));
        dir.clear();
    }
    if (dir.isEmpty()) {
        m_throwaway = std::make_unique<QTemporaryDir>();
        dir = m_throwaway->path();
    }
    m_cookies.seed(dir + QStringLiteral("/Cookies"));
    m_profile = new QWebEngineProfile(QStringLiteral("board"), this);
    m_profile->setPersistentStoragePath(dir);
    m_profile->setCachePath(dir + QStringLiteral("/cache"));
    // The web session outlives the app, as it would in a browser the user keeps open.
    m_profile->setPersistentCookiesPolicy(QWebEngineProfile::ForcePersistentCookies);
    m_profile->setHttpUserAgent(m_profile->httpUserAgent() + QLatin1Char(' ') +
                                QString::fromLatin1(API::userAgent));
    m_profile->settings()->setAttribute(QWebEngineSettings::ErrorPageEnabled, false);
    m_profile->settings()->setAttribute(QWebEngineSettings::FullScreenSupportEnabled, true);
    // The app's links are the navigation rules' to take; a load that got past them has nothing to show.
    m_profile->installUrlSchemeHandler("orvane", new RefusedScheme(m_profile));
    m_cookies.follow(*m_profile->cookieStore(), this);
    m_profile->cookieStore()->loadAllCookies();
    connect(m_profile, &QWebEngineProfile::downloadRequested, this, &Board::download);
}

void Board::createWindow() {
    ensureProfile();
    auto* page = new BoardPage(m_profile, *this);
    page->setBackgroundColor(darkBG);
    m_window = new BoardWindow(page, {.back = [this] { goBack(); },
                                      .forward = [this] { goForward(); },
                                      .reload = [this] { reload(); },
                                      .zoomIn = [this] { zoomIn(); },
                                      .zoomOut = [this] { zoomOut(); },
                                      .zoomReset = [this] { zoomReset(); },
                                      .home = [this] { openFromMenu(); },
                                      .settings = [this] { emit settingsWanted(); },
                                      .quit = [this] { emit quitWanted(); }});
    page->setParent(m_window);
    m_window->setChrome(darkBG, false);
    BoardWindow* window = m_window;
    connect(page, &QWebEnginePage::titleChanged, window, &BoardWindow::setPageTitle);
    connect(page, &QWebEnginePage::urlChanged, window, &BoardWindow::revalidate);
    connect(page->action(QWebEnginePage::Back), &QAction::changed, window, &BoardWindow::revalidate);
    connect(page->action(QWebEnginePage::Forward), &QAction::changed, window, &BoardWindow::revalidate);
    connect(page, &QWebEnginePage::loadFinished, this, &Board::finished);
    connect(page, &QWebEnginePage::loadingChanged, this, [this](const QWebEngineLoadingInfo& info) {
        // Cancelled loads, loads that became a download and loads refused here end as "aborted".
        if (info.status() != QWebEngineLoadingInfo::LoadFailedStatus || info.errorCode() == -3) return;
        const QString description = info.errorString();
        QTimer::singleShot(0, this, [this, description] { loadFailed(description); });
    });
    connect(page, &QWebEnginePage::renderProcessTerminated, this,
            [this](QWebEnginePage::RenderProcessTerminationStatus status) {
                if (status == QWebEnginePage::NormalTerminationStatus) return;
                slog(QStringLiteral("board: web content process ended -> reload"));
                if (m_lastRequested) load(*m_lastRequested);
            });
    connect(window, &BoardWindow::closing, this, &Board::closed);

    const QByteArray frame = m_in.settings.defaults().value(frameKey).toByteArray();
    if (frame.isEmpty() || !window->restoreGeometry(frame)) {
        if (const QScreen* screen = QGuiApplication::primaryScreen()) {
            QRect box = window->frameGeometry();
            box.moveCenter(screen->availableGeometry().center());
            window->move(box.topLeft());
        }
    }
    slog(QStringLiteral("board: window opened"));
    emit windowOpened();
}

// Loading and the one-time login.

void Board::navigate(const QUrl& url) {
    m_lastRequested = url;
    if (!m_in.settings.signedIn() || m_webSignedOut) {
        load(url);
        return;
    }
    if (m_cookies.hasSession(m_in.settings.platformBase(), m_in.now()))
        load(url);
    else
        exchange(url);
}

void Board::load(const QUrl& url) {
    m_lastRequested = url;
    if (!m_window) return;
    m_window->view()->page()->load(url);
}

QCoro::Task<> Board::exchange(QUrl target) {
    if (m_exchanging) {
        m_pendingTarget = target;
        co_return;
    }
    const QDateTime now = m_in.now();
    if (m_lastExchange.isValid() && m_lastExchange.msecsTo(now) <= exchangeCooldownSeconds * 1000) {
        load(signinURL(target));
        co_return;
    }
    m_exchanging = true;
    m_lastExchange = now;
    emit exchangeStarted();
    const QPointer<Board> self(this);
    auto asking = AppSession::request(m_in.network, m_in.settings.platformBase(), m_in.settings.accountKey(),
                                      pathAndQuery(target));
    const AppSession::Result result = co_await std::move(asking);
    if (!self) co_return;
    m_exchanging = false;
    switch (result.kind) {
    case AppSession::Result::Kind::url:
        slog(QStringLiteral("board: web session from the account key (one-time link)"));
        m_pendingTarget = isHomePath(target) ? std::nullopt : std::optional<QUrl>(target);
        load(result.url);
        break;
    case AppSession::Result::Kind::notYet:
        slog(QStringLiteral("board: /auth/app-session not on the site yet (%1) -> sign in once in the window")
                 .arg(result.status));
        m_pendingTarget = target;
        load(signinURL(target));
        break;
    case AppSession::Result::Kind::refused:
        slog(QStringLiteral("board: /auth/app-session refused (%1) -> sign-in page").arg(result.status));
        m_pendingTarget = target;
        load(signinURL(target));
        break;
    case AppSession::Result::Kind::failed:
        slog(QStringLiteral("board: /auth/app-session failed: %1").arg(result.text));
        load(target);
        break;
    }
}

QUrl Board::signinURL(const QUrl& target) const {
    const QString next = pathAndQuery(target).value_or(QStringLiteral("/app"));
    QUrl url(Platform::clean(m_in.settings.platformBase()) + QStringLiteral("/signin"));
    url.setQuery(QStringLiteral("next=") + QString::fromLatin1(QUrl::toPercentEncoding(next)),
                 QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty()) return home();
    return url;
}

bool Board::isSigninPage(const QUrl& url) const {
    const QString path = pathOf(url);
    return WebHosts::isBoard(url, m_in.settings.platformBase()) &&
           (path == QLatin1String("/signin") || path == QLatin1String("/signin/"));
}

QUrl Board::nextTarget(const QUrl& from) const {
    const QString next = QUrlQuery(from).queryItemValue(QStringLiteral("next"), QUrl::FullyDecoded);
    if (next.startsWith(QLatin1Char('/')) && !next.startsWith(QLatin1String("//"))) {
        const QUrl url(Platform::clean(m_in.settings.platformBase()) + next);
        if (url.isValid()) return url;
    }
    return m_pendingTarget.value_or(home());
}

bool Board::acceptNavigation(const QUrl& url, bool mainFrame) {
    if (url.isEmpty()) return true;
    if (url.scheme().compare(QLatin1String("orvane"), Qt::CaseInsensitive) == 0) {
        // Never the desktop's handler: that would start a second copy to hand the link back here.
        QTimer::singleShot(0, this, [this, url] { openDeepLink(url); });
        return false;
    }
    if (!mainFrame) return true;
    const QString base = m_in.settings.platformBase();
    if (!WebHosts::staysInWindow(url, base)) {
        m_in.browser.open(url);
        emit handedToBrowser(url);
        return false;
    }
    if (!WebHosts::isBoard(url, base)) return true;
    const QString path = pathOf(url);
    if (path == QLatin1String("/signout") || path == QLatin1String("/signout/")) m_webSignedOut = true;
    // The page after a sign-out is the user's to see.
    if (QUrlQuery(url).hasQueryItem(QStringLiteral("out"))) return true;
    const bool cooled = !m_lastExchange.isValid() ||
                        m_lastExchange.msecsTo(m_in.now()) > qint64(exchangeCooldownSeconds) * 1000;
    if (isSigninPage(url) && m_in.settings.signedIn() && !m_webSignedOut && !m_exchanging && cooled) {
        const QUrl next = nextTarget(url);
        QTimer::singleShot(0, this, [this, next] { exchange(next); });
        return false;
    }
    return true;
}

void Board::popup(const QUrl& url) {
    if (url.scheme().compare(QLatin1String("orvane"), Qt::CaseInsensitive) == 0)
        openDeepLink(url);
    else if (WebHosts::isBoard(url, m_in.settings.platformBase()))
        load(url);
    else {
        m_in.browser.open(url);
        emit handedToBrowser(url);
    }
}

void Board::finished(bool ok) {
    if (!m_window) return;
    m_window->revalidate();
    QWebEnginePage* page = m_window->view()->page();
    const QUrl url = page->url();
    if (ok) {
        const QPointer<Board> self(this);
        page->runJavaScript(QStringLiteral("getComputedStyle(document.body).backgroundColor"),
                            [self](const QVariant& answer) {
                                if (!self || answer.typeId() != QMetaType::QString) return;
                                if (const auto colour = parseCSSColor(answer.toString()))
                                    self->applyPageColour(*colour);
                            });
        const QString path = pathOf(url);
        const bool realPage = WebHosts::isBoard(url, m_in.settings.platformBase()) && !isSigninPage(url) &&
                              !path.startsWith(QLatin1String("/auth/"));
        if (m_pendingTarget && realPage) {
            const QUrl target = *m_pendingTarget;
            m_pendingTarget.reset();
            if (url != target) load(target);
        }
    }
    emit pageFinished(url, ok);
}

void Board::loadFailed(const QString& description) {
    slog(QStringLiteral("board: load failed: ") + description);
    if (m_window) m_window->view()->page()->setHtml(failurePage(m_in.settings.platformBase(), description));
}

void Board::applyPageColour(const QColor& colour) {
    if (m_window) m_window->setChrome(colour, luminance(colour) > 0.5);
}

// Actions.

void Board::goBack() {
    if (m_window) m_window->view()->back();
}

void Board::goForward() {
    if (m_window) m_window->view()->forward();
}

void Board::reload() {
    if (!m_window) return;
    const QUrl url = m_window->view()->url();
    const QString scheme = url.scheme();
    // The failure page has no address of its own worth reloading: go back to what was asked for.
    if ((url.isEmpty() || scheme == QLatin1String("data") || scheme == QLatin1String("about")) &&
        m_lastRequested) {
        load(*m_lastRequested);
        return;
    }
    m_window->view()->reload();
}

void Board::zoomIn() {
    if (m_window)
        m_window->view()->setZoomFactor(std::min(zoomMax, m_window->view()->zoomFactor() + zoomStep));
}

void Board::zoomOut() {
    if (m_window)
        m_window->view()->setZoomFactor(std::max(zoomMin, m_window->view()->zoomFactor() - zoomStep));
}

void Board::zoomReset() {
    if (m_window) m_window->view()->setZoomFactor(1.0);
}

// Downloads.

void Board::download(QWebEngineDownloadRequest* request) {
    QString dir = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
    if (dir.isEmpty()) dir = QDir::home().filePath(QStringLiteral("Downloads"));
    QDir().mkpath(dir);
    QString name = request->suggestedFileName().replace(QLatin1Char('/'), QLatin1Char('-')).trimmed();
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String(".."))
        name = QStringLiteral("download");
    QSet<QString> taken;
    for (const QString& path : std::as_const(m_downloads))
        taken.insert(path);
    const QString path = uniqueFile(dir, name, taken);
    request->setDownloadDirectory(dir);
    request->setDownloadFileName(QFileInfo(path).fileName());
    m_downloads.insert(request, path);
    // A download cut short waits to be resumed, unfinished; nothing here resumes it, so it ends as failed.
    connect(request, &QWebEngineDownloadRequest::stateChanged, this, [this, request] {
        const auto state = request->state();
        if (state == QWebEngineDownloadRequest::DownloadRequested ||
            state == QWebEngineDownloadRequest::DownloadInProgress || !m_downloads.contains(request))
            return;
        const QString file = m_downloads.take(request);
        if (state == QWebEngineDownloadRequest::DownloadCompleted) {
            slog(QStringLiteral("board: downloaded ") + QFileInfo(file).fileName());
            emit downloadFinished(file, true);
        } else {
            slog(QStringLiteral("board: download failed: ") + request->interruptReasonString());
            emit downloadFinished(file, false);
        }
    });
    request->accept();
}

// The account.

void Board::signedIn() {
    m_webSignedOut = false;
    if (!m_window) return;
    const QUrl url = m_window->view()->url();
    if (isSigninPage(url)) exchange(nextTarget(url));
}

void Board::signedOut() {
    const QString base = m_in.settings.platformBase();
    if (!m_profile) m_cookies.seed(m_in.storage + QStringLiteral("/Cookies"));
    const QList<QNetworkCookie> kept = m_cookies.platformCookies(base);
    for (const QNetworkCookie& cookie : kept)
        if (cookie.name() == "ov_sess") endWebSession(cookie.value());
    if (!kept.isEmpty()) {
        ensureProfile();
        // The store only works once a page of the profile exists; one that loads nothing starts no renderer.
        auto* keeper = new QWebEnginePage(m_profile, this);
        for (const QNetworkCookie& cookie : kept) {
            m_profile->cookieStore()->deleteCookie(cookie, originOf(cookie, base));
            m_cookies.remove(cookie);
        }
        QTimer::singleShot(0, keeper, &QObject::deleteLater);
    }
    slog(QStringLiteral("board: cleared %1 %2 cookie(s) from the window")
             .arg(kept.size())
             .arg(Platform::registrableDomain));
    if (m_window) load(QUrl(Platform::clean(base) + QStringLiteral("/signin")));
}

QCoro::Task<> Board::endWebSession(QByteArray session) {
    const QString root = Platform::clean(m_in.settings.platformBase());
    QNetworkRequest request(QUrl(root + QStringLiteral("/auth/signout")));
    request.setRawHeader("Content-Type", "application/json");
    request.setRawHeader("Origin", root.toUtf8());
    request.setRawHeader("Cookie", "ov_sess=" + session);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setTransferTimeout(
        int(std::chrono::duration_cast<std::chrono::milliseconds>(AppSession::timeout).count()));
    const std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> reply(
        m_in.network.post(request, "{}"), [](QNetworkReply* r) { r->deleteLater(); });
    co_await reply.get();
    slog(QStringLiteral("board: web session ended on the server (%1)")
             .arg(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt()));
}

void Board::closed() {
    if (m_window) m_in.settings.defaults().setValue(frameKey, m_window->saveGeometry());
    if (m_window) m_window->view()->page()->triggerAction(QWebEnginePage::Stop);
    m_pendingTarget.reset();
    m_webSignedOut = false;
    setDock(false);
    // The window deletes itself once its close is done; until then it is only kept to go before the profile.
    m_closing = m_window;
    m_window.clear();
    slog(QStringLiteral("board: window closed"));
    emit windowClosed();
}

void Board::whenPainted(std::function<void(const QImage&)> then, int tries) {
    if (!m_window) return;
    // The view paints a moment after its page has loaded: a page of one colour is looked at again.
    const QImage image = m_window->grab().toImage();
    const QRect page = m_window->findChild<QWebEngineView*>()->geometry();
    if (isBlank(image.copy(page)) && tries < 50) {
        QTimer::singleShot(100, this,
                           [this, then = std::move(then), tries] { whenPainted(then, tries + 1); });
        return;
    }
    then(image);
}

void Board::writeShot(const QString& path) {
    whenPainted([path](const QImage& image) {
        slog(image.save(path, "PNG") ? QStringLiteral("board: picture of the window in ") + path
                                     : QStringLiteral("board: could not write the picture ") + path);
    });
}

bool Board::isBlank(const QImage& image) {
    if (image.isNull()) return true;
    const QRgb ground = image.pixel(0, 0);
    for (int y = 0; y < image.height(); y += 8)
        for (int x = 0; x < image.width(); x += 8)
            if (image.pixel(x, y) != ground) return false;
    return true;
}

void Board::setDock(bool open) {
    const std::optional<DockPolicy::Policy> next = DockPolicy::change(m_dock, open);
    if (!next) return;
    m_dock = *next;
    slog(QStringLiteral("board: dock icon ") + (open ? QStringLiteral("on") : QStringLiteral("off")));
}
