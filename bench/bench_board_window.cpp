// The board window from `show` to the first frame of its home page, cold (a fresh profile folder, so the
// account key is traded for a web session on the way) and warm (the same folder again, the session cookie
// kept), against a bare QWebEngineView on a profile of its own loading the same page in the same run; and the
// memory of the process and of its web engine helpers before the first show, with the page loaded, and 10 s
// after the window closed.
//
//   bench_board_window [repetitions, default 5] [frames]
//       starts the local platform and runs every measurement in a fresh process of its own, then prints the
//       summary; "frames" leaves out the memory (and its 12 s per process), for profiling the stages
//   bench_board_window measure <board|reference> <cold|warm> <platform base> <profile folder> [frames]
//       one measurement; prints one JSON line
//
// Needs $DISPLAY (scripts/with-test-services).

#include "ProcessTree.h"
#include "board/window/Board.h"
#include "core/Keychain.h"
#include "os/FileSecretStore.h"
#include "server/API.h"
#include "server/Settings.h"
#include "support/LocalPlatform.h"
#include "surfaces/DesktopBrowser.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QProcess>
#include <QSettings>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineView>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int deadlineMs = 60000;
constexpr int settleMs = 2000;
constexpr int afterCloseMs = 10000;
const QString accountKey = u"dev-key"_s;
// The local platform's board pages: this background, text and links drawn light on it.
constexpr QRgb pageBackground = qRgb(7, 8, 11);

// Whether a picture of the view shows the page: its background over most of it and something light drawn
// on that. Before the page's first frame the view is one colour, the page's background (which the board
// sets beforehand) or the engine's white.
bool showsPage(const QImage& shot) {
    const QImage image = shot.convertToFormat(QImage::Format_RGB32);
    qint64 background = 0;
    bool drawn = false;
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = row[x] | 0xff000000u;
            if (pixel == pageBackground)
                ++background;
            else if (qGray(pixel) > 128 && pixel != qRgb(255, 255, 255))
                drawn = true;
        }
    }
    return drawn && background * 2 > qint64(image.width()) * image.height();
}

// Calls `seen` at the first frame of the view that shows the page, looked for from `arm` on: at once, at
// every paint of the view's widgets (the engine's frames arrive as paints of its render widget), and every
// 50 ms in case a paint goes unseen.
class FirstFrame : public QObject {
public:
    FirstFrame(QWebEngineView& view, std::function<void()> seen) : m_view(view), m_seen(std::move(seen)) {
        m_poll.setInterval(50);
        connect(&m_poll, &QTimer::timeout, this, &FirstFrame::check);
    }
    void arm() {
        if (m_armed) return;
        m_armed = true;
        m_view.installEventFilter(this);
        for (QWidget* child : m_view.findChildren<QWidget*>())
            child->installEventFilter(this);
        m_poll.start();
        check();
    }

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        // Never grab from inside a paint, and not again for the paints a grab makes itself.
        if (event->type() == QEvent::Paint && !m_grabbing && !m_checkQueued) {
            m_checkQueued = true;
            QTimer::singleShot(0, this, [this] {
                m_checkQueued = false;
                check();
            });
        }
        return false;
    }

private:
    void check() {
        if (m_done) return;
        m_grabbing = true;
        const QImage shot = m_view.grab().toImage();
        m_grabbing = false;
        if (!showsPage(shot)) return;
        m_done = true;
        m_poll.stop();
        m_seen();
    }

    QWebEngineView& m_view;
    std::function<void()> m_seen;
    QTimer m_poll;
    bool m_armed = false;
    bool m_checkQueued = false;
    bool m_grabbing = false;
    bool m_done = false;
};

QJsonArray memoryNow() {
    QJsonArray list;
    for (const ProcessTree::Process& p : ProcessTree::of(::getpid()))
        list.append(
            QJsonObject{{u"pid"_s, p.pid}, {u"type"_s, p.type}, {u"pss"_s, p.pssMB}, {u"rss"_s, p.rssMB}});
    return list;
}

// One measurement in this process: the stages from the show (or load) call, the first frame of the page,
// then the memory with the page loaded and after the window closed; printed as one JSON line on exit.
class Measurement {
public:
    Measurement(bool memory, std::function<void()> closeWindow)
        : m_memory(memory), m_close(std::move(closeWindow)) {
        m_result[u"before"_s] = memoryNow();
        QTimer::singleShot(deadlineMs, [this] { fail(u"no first frame of /app within 60 s"_s); });
    }
    void start() { m_clock.start(); }
    void mark(const QString& stage) {
        if (!m_stages.contains(stage)) m_stages[stage] = ms();
    }
    // Every load of the page, by the path it started on and the one it finished on.
    void follow(QWebEnginePage& page) {
        QObject::connect(&page, &QWebEnginePage::loadStarted,
                         [this, &page] { mark(u"load started "_s + page.requestedUrl().path()); });
        QObject::connect(&page, &QWebEnginePage::loadFinished, [this, &page](bool ok) {
            mark(u"load finished "_s + page.url().path() + (ok ? u""_s : u" (failed)"_s));
        });
    }
    // The page to measure has loaded in `view`: waits for its first frame.
    void loaded(QWebEngineView& view) {
        if (m_frame) return;
        m_result[u"view"_s] = u"%1x%2"_s.arg(view.width()).arg(view.height());
        m_frame = std::make_unique<FirstFrame>(view, [this] { painted(); });
        m_frame->arm();
    }
    void fail(const QString& why) {
        m_result[u"error"_s] = why;
        finish(1);
    }
    QJsonObject& result() { return m_result; }

private:
    double ms() const { return double(m_clock.nsecsElapsed()) / 1e6; }
    void painted() {
        m_result[u"paint"_s] = ms();
        if (!m_memory) {
            QTimer::singleShot(0, [this] {
                m_close();
                finish(0);
            });
            return;
        }
        QTimer::singleShot(settleMs, [this] {
            m_result[u"loaded"_s] = memoryNow();
            m_close();
            QTimer::singleShot(afterCloseMs, [this] {
                m_result[u"closed"_s] = memoryNow();
                finish(0);
            });
        });
    }
    void finish(int code) {
        m_result[u"stages"_s] = m_stages;
        std::printf("%s\n", QJsonDocument(m_result).toJson(QJsonDocument::Compact).constData());
        std::fflush(stdout);
        QCoreApplication::exit(code);
    }

    QElapsedTimer m_clock;
    QJsonObject m_stages;
    QJsonObject m_result;
    bool m_memory;
    std::function<void()> m_close;
    std::unique_ptr<FirstFrame> m_frame;
};

bool isHomePage(const QUrl& url) {
    return url.path() == u"/app"_s;
}

// The board as the app opens it from the menu, signed in with the account key.
int measureBoard(const QString& base, const QString& folder, bool memory) {
    QTemporaryDir scratch;
    QSettings store(scratch.filePath(u"orvane.conf"_s), QSettings::IniFormat);
    os::FileSecretStore secrets(scratch.filePath(u"keys"_s));
    Keychain keychain(secrets, u"bench"_s);
    const std::unique_ptr<QNetworkAccessManager> network = API::makeNetwork();
    Settings settings(store, keychain, *network);
    settings.setPlatformBase(base);
    settings.signIn(accountKey, u"dev@orvane.test"_s, std::nullopt);
    DesktopBrowser browser(DesktopBrowser::Mode::logOnly);
    Board board({settings, browser, *network, [] { return QDateTime::currentDateTimeUtc(); }, folder});

    Measurement run(memory, [&] { board.window()->close(); });
    run.result()[u"exchanges"_s] = 0;
    QObject::connect(&board, &Board::windowOpened, [&] {
        run.mark(u"window made"_s);
        run.follow(*board.window()->findChild<QWebEngineView*>()->page());
    });
    QObject::connect(&board, &Board::exchangeStarted, [&] {
        run.result()[u"exchanges"_s] = run.result()[u"exchanges"_s].toInt() + 1;
        run.mark(u"exchange sent"_s);
    });
    QObject::connect(&board, &Board::pageFinished, [&](const QUrl& url, bool ok) {
        if (ok && isHomePage(url)) run.loaded(*board.window()->findChild<QWebEngineView*>());
    });
    run.start();
    board.show(std::nullopt);
    return QCoreApplication::exec();
}

// The least a program needs to show the page: a view on a named profile that keeps its cookies, loading
// the page; cold, it first asks for the one-time login with a plain POST and loads that.
int measureReference(const QString& base, const QString& folder, bool cold, bool memory) {
    QNetworkAccessManager network;
    std::unique_ptr<QWebEngineProfile> profile;
    QPointer<QWebEngineView> view;
    Measurement run(memory, [&] {
        view->close();
        view->deleteLater();
    });
    run.start();
    profile = std::make_unique<QWebEngineProfile>(u"reference"_s);
    profile->setPersistentStoragePath(folder);
    profile->setCachePath(folder + u"/cache"_s);
    profile->setPersistentCookiesPolicy(QWebEngineProfile::ForcePersistentCookies);
    view = new QWebEngineView(profile.get());
    view->resize(1280, 781); // the board's view in its first window, below the toolbar
    run.mark(u"window made"_s);
    run.follow(*view->page());
    QObject::connect(view->page(), &QWebEnginePage::loadFinished, [&](bool ok) {
        if (ok && isHomePage(view->url())) run.loaded(*view);
    });
    view->show();
    if (!cold) {
        view->load(QUrl(base + u"/app"_s));
    } else {
        QNetworkRequest request(QUrl(base + u"/auth/app-session"_s));
        request.setRawHeader("Authorization", "Bearer " + accountKey.toUtf8());
        request.setRawHeader("Content-Type", "application/json");
        QNetworkReply* reply = network.post(request, "{}");
        run.result()[u"exchanges"_s] = 1;
        run.mark(u"exchange sent"_s);
        QObject::connect(reply, &QNetworkReply::finished, [&, reply] {
            reply->deleteLater();
            const QString path = QJsonDocument::fromJson(reply->readAll())[u"url"_s].toString();
            if (path.isEmpty()) return run.fail(u"no one-time login: "_s + reply->errorString());
            view->load(QUrl(base + path));
        });
    }
    const int code = QCoreApplication::exec();
    delete view.data();
    return code;
}

// Closing the window is part of the measurement, not its end.
void keepRunning() {
    QApplication::setQuitOnLastWindowClosed(false);
}

int measure(int argc, char** argv) {
    const QString kind = QString::fromLocal8Bit(argv[2]);
    const bool cold = qstrcmp(argv[3], "cold") == 0;
    const QString base = QString::fromLocal8Bit(argv[4]);
    const QString folder = QString::fromLocal8Bit(argv[5]);
    const bool memory = argc < 7;
    if (kind == u"board"_s) {
        Board::prepareEngine();
        QApplication app(argc, argv);
        keepRunning();
        return measureBoard(base, folder, memory);
    }
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    keepRunning();
    return measureReference(base, folder, cold, memory);
}

// The driver.

struct Spread {
    double median = 0, low = 0, high = 0;
    int n = 0;
};

Spread spreadOf(QList<double> values) {
    if (values.isEmpty()) return {};
    std::sort(values.begin(), values.end());
    const qsizetype n = values.size();
    const double median = n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
    return {median, values.first(), values.last(), int(n)};
}

QString shown(const Spread& s, int decimals = 0) {
    if (s.n == 0) return u"-"_s;
    return u"%1 [%2–%3]"_s.arg(s.median, 0, 'f', decimals)
        .arg(s.low, 0, 'f', decimals)
        .arg(s.high, 0, 'f', decimals);
}

QString tail(const QString& path) {
    QFile log(path);
    if (!log.open(QIODevice::ReadOnly)) return {};
    const QByteArray text = log.readAll();
    return QString::fromLocal8Bit(text.right(2000));
}

QString loadAverage() {
    QFile file(u"/proc/loadavg"_s);
    return file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll().trimmed()) : u"?"_s;
}

// One measurement in a fresh process; its JSON, or an object with "error".
QJsonObject runOne(const QString& kind, const QString& mode, const QString& base, const QString& folder,
                   bool memory) {
    QProcess child;
    const QString log = folder + u"-"_s + mode + u".log"_s;
    child.setStandardErrorFile(log);
    QStringList arguments{u"measure"_s, kind, mode, base, folder};
    if (!memory) arguments << u"frames"_s;
    child.start(QCoreApplication::applicationFilePath(), arguments);
    child.waitForFinished(deadlineMs + settleMs + afterCloseMs + 30000);
    const QList<QByteArray> lines = child.readAllStandardOutput().trimmed().split('\n');
    QJsonObject result = QJsonDocument::fromJson(lines.last()).object();
    if (result.isEmpty() || child.exitCode() != 0)
        result[u"error"_s] = result.value(u"error"_s).toString(u"the process failed"_s) + u"\n"_s + tail(log);
    return result;
}

// Whether the local platform still takes connections (something on a shared machine may stop it).
bool answers(const LocalPlatform& platform) {
    const QUrl base(platform.base());
    QTcpSocket socket;
    socket.connectToHost(base.host(), quint16(base.port()));
    return socket.waitForConnected(2000);
}

// The engine writes its cookies on the way out; the warm run needs them on disk.
bool cookieKept(const QString& folder) {
    QElapsedTimer waited;
    waited.start();
    do {
        QFile cookies(folder + u"/Cookies"_s);
        if (cookies.open(QIODevice::ReadOnly) && cookies.readAll().contains("ov_sess")) return true;
        QThread::msleep(100);
    } while (waited.elapsed() < 5000);
    return false;
}

double sumOf(const QJsonArray& processes, const QString& field,
             const std::function<bool(const QString&)>& which) {
    double total = 0;
    for (const QJsonValue& p : processes)
        if (which(p[u"type"_s].toString())) total += p[field].toDouble();
    return total;
}

void printMemory(const QString& label, const QList<QJsonObject>& runs) {
    std::printf("\n%s, PSS in MiB (RSS of the app process in brackets), median of %lld:\n", qPrintable(label),
                qlonglong(runs.size()));
    std::printf("  %-22s %10s %10s %10s %8s   %s\n", "point", "app", "helpers", "total", "app RSS",
                "helper processes (type: count)");
    for (const QString& point : {u"before"_s, u"loaded"_s, u"closed"_s}) {
        QList<double> app, helpers, total, rss;
        std::map<QString, QList<double>> counts;
        for (const QJsonObject& r : runs) {
            const QJsonArray tree = r[point].toArray();
            app << sumOf(tree, u"pss"_s, [](const QString& t) { return t == u"browser"_s; });
            helpers << sumOf(tree, u"pss"_s, [](const QString& t) { return t != u"browser"_s; });
            total << sumOf(tree, u"pss"_s, [](const QString&) { return true; });
            rss << sumOf(tree, u"rss"_s, [](const QString& t) { return t == u"browser"_s; });
            std::map<QString, int> perType;
            for (const QJsonValue& p : tree)
                if (p[u"type"_s].toString() != u"browser"_s) ++perType[p[u"type"_s].toString()];
            for (const auto& [type, n] : perType)
                counts[type] << n;
        }
        QStringList types;
        for (const auto& [type, n] : counts)
            types << u"%1: %2"_s.arg(type).arg(spreadOf(n).median);
        const char* name = point == u"before"_s   ? "before the first show"
                           : point == u"loaded"_s ? "page loaded (+2 s)"
                                                  : "10 s after closing";
        std::printf("  %-22s %10.1f %10.1f %10.1f %8.1f   %s\n", name, spreadOf(app).median,
                    spreadOf(helpers).median, spreadOf(total).median, spreadOf(rss).median,
                    types.isEmpty() ? "none" : qPrintable(types.join(u", "_s)));
    }
}

int drive(int repetitions, bool memory) {
    LocalPlatform platform;
    if (!platform.isRunning()) {
        std::fprintf(stderr, "local platform: %s\n", qPrintable(platform.error()));
        return 1;
    }
    QTemporaryDir root;
    std::printf("load before: %s\n", qPrintable(loadAverage()));
    std::fflush(stdout);

    const QStringList kinds{u"board"_s, u"reference"_s};
    const QStringList modes{u"cold"_s, u"warm"_s};
    std::map<QString, QList<QJsonObject>> runs; // "board cold" -> its runs
    int failures = 0;
    for (int rep = 0; rep < repetitions; ++rep) {
        // Alternate which goes first, so neither always meets the machine as the other left it.
        QStringList order = kinds;
        if (rep % 2) std::reverse(order.begin(), order.end());
        for (const QString& kind : order) {
            const QString folder = root.filePath(u"%1-%2"_s.arg(kind).arg(rep));
            for (const QString& mode : modes) {
                if (mode == u"warm"_s && !cookieKept(folder))
                    std::fprintf(stderr, "%s %d: no ov_sess cookie on disk after the cold run\n",
                                 qPrintable(kind), rep);
                const QJsonObject result = runOne(kind, mode, platform.base(), folder, memory);
                if (result.contains(u"error"_s)) {
                    ++failures;
                    std::fprintf(stderr, "%s %s %d failed: %s\n", qPrintable(kind), qPrintable(mode), rep,
                                 qPrintable(result[u"error"_s].toString()));
                    if (!answers(platform)) {
                        std::fprintf(stderr, "the local platform stopped: no more measurements\n");
                        return 1;
                    }
                    continue;
                }
                std::printf("%-9s %s #%d: first frame %.0f ms\n", qPrintable(kind), qPrintable(mode), rep,
                            result[u"paint"_s].toDouble());
                std::fflush(stdout);
                runs[kind + u" "_s + mode].append(result);
            }
        }
    }

    std::printf("\nFirst frame of /app after show, ms: median [min–max]\n");
    std::printf("  %-10s %-24s %-24s\n", "", "cold", "warm");
    std::map<QString, Spread> paint;
    for (const QString& kind : kinds) {
        QStringList cells;
        for (const QString& mode : modes) {
            QList<double> values;
            for (const QJsonObject& r : runs[kind + u" "_s + mode])
                values << r[u"paint"_s].toDouble();
            paint[kind + u" "_s + mode] = spreadOf(values);
            cells << shown(paint[kind + u" "_s + mode]);
        }
        std::printf("  %-10s %-24s %-24s\n", qPrintable(kind), qPrintable(cells[0]), qPrintable(cells[1]));
    }
    for (const QString& mode : modes) {
        const double board = paint[u"board "_s + mode].median,
                     reference = paint[u"reference "_s + mode].median;
        const double ratio = reference > 0 ? board / reference : 0;
        std::printf("  board / reference, %s: %.2f (target at most 1.2: %s)\n", qPrintable(mode), ratio,
                    ratio <= 1.2 ? "met" : "NOT met");
    }

    std::printf("\nStages, ms after show (median [min–max])\n");
    std::erase_if(runs, [](const auto& entry) { return entry.second.isEmpty(); });
    for (const auto& [label, list] : runs) {
        std::map<QString, QList<double>> stages;
        for (const QJsonObject& r : list) {
            const QJsonObject s = r[u"stages"_s].toObject();
            for (auto it = s.begin(); it != s.end(); ++it)
                stages[it.key()] << it.value().toDouble();
            stages[u"first frame"_s] << r[u"paint"_s].toDouble();
        }
        std::vector<std::pair<double, QString>> ordered;
        for (const auto& [stage, values] : stages)
            ordered.emplace_back(spreadOf(values).median, stage);
        std::sort(ordered.begin(), ordered.end());
        int exchanges = 0;
        for (const QJsonObject& r : list)
            exchanges += r[u"exchanges"_s].toInt();
        std::printf("  %s (view %s, one-time logins in %lld runs: %d):\n", qPrintable(label),
                    qPrintable(list.first()[u"view"_s].toString()), qlonglong(list.size()), exchanges);
        for (const auto& [median, stage] : ordered)
            std::printf("    %-34s %s\n", qPrintable(stage), qPrintable(shown(spreadOf(stages[stage]))));
    }

    if (memory)
        for (const auto& [label, list] : runs)
            printMemory(label, list);

    std::printf("\nweb sessions made on the platform: %lld\nload after: %s\n",
                qlonglong(platform.webSessions().size()), qPrintable(loadAverage()));
    return failures ? 1 : 0;
}

} // namespace

int main(int argc, char** argv) {
    if ((argc == 6 || argc == 7) && qstrcmp(argv[1], "measure") == 0) return measure(argc, argv);
    if (::geteuid() == 0) qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1"); // the same engine set-up for both
    QCoreApplication app(argc, argv);
    return drive(argc > 1 ? std::max(1, std::atoi(argv[1])) : 5,
                 !(argc > 2 && qstrcmp(argv[2], "frames") == 0));
}
