#include "RequiredServices.h"
#include "board/window/Board.h"
#include "core/Keychain.h"
#include "os/FileSecretStore.h"
#include "os/linux/Backends.h"
#include "recording/Session.h"
#include "recording/Uploader.h"
#include "server/Platform.h"
#include "server/Settings.h"
#include "support/Await.h"
#include "support/LocalPlatform.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

// What an earlier run left: an account on this platform with its projects, its key in the private file
// the program falls back to without a session bus.
struct Earlier {
    QSettings defaults;
    os::FileSecretStore secrets;
    Keychain keychain;
    std::unique_ptr<QNetworkAccessManager> network = API::makeNetwork();
    Settings settings;
    QList<Workspace> projects;

    // The settings file the program reads in `home`.
    static QString defaultsIn(const QTemporaryDir& home) {
        qputenv("XDG_CONFIG_HOME", home.filePath(QStringLiteral("config")).toUtf8());
        return Settings::defaultsPath(qEnvironmentVariable("ORVANE_DEFAULTS_SUITE"));
    }
    static QString secretsIn(const QTemporaryDir& home) {
        QDir().mkpath(home.filePath(QStringLiteral("support")));
        return home.filePath(QStringLiteral("support/secrets.json"));
    }

    Earlier(const QTemporaryDir& home, const LocalPlatform& platform)
        : defaults(defaultsIn(home), QSettings::IniFormat), secrets(secretsIn(home)),
          keychain(secrets, qEnvironmentVariable("ORVANE_KEYCHAIN_SERVICE")),
          settings(defaults, keychain, *network) {
        settings.setPlatformBase(platform.base());
        settings.signIn(QStringLiteral("dev-key"), QStringLiteral("dev@orvane.test"), std::nullopt);
        const auto [account, list] =
            testsupport::await(Platform::me(*network, platform.base(), settings.accountKey()));
        settings.apply(account, list);
        projects = list;
    }
};

// The built program, started the way a user or a script starts it.
class TestProgram : public QObject {
    Q_OBJECT
    std::unique_ptr<QTemporaryDir> m_home;

    QProcessEnvironment environment(bool deadBus = false) const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("ORVANE_SUPPORT_DIR"), m_home->filePath(QStringLiteral("support")));
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home->filePath(QStringLiteral("config")));
        if (deadBus)
            env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                       QStringLiteral("unix:path=/nonexistent/bus"));
        return env;
    }
    void start(QProcess& p, const QStringList& args, bool deadBus = false) const {
        p.setProcessEnvironment(environment(deadBus));
        p.start(QStringLiteral(ORVANE_BINARY), args);
        QVERIFY2(p.waitForStarted(10000), qPrintable(p.errorString()));
    }
    QString log() const {
        QFile file(m_home->filePath(QStringLiteral("support/orvane.log")));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    static QByteArray xdotool(const QStringList& args) {
        QProcess process;
        process.start(QStringLiteral("xdotool"), args);
        process.waitForFinished(30000);
        return process.readAllStandardOutput().trimmed();
    }
    // The window as it shows on the screen, taken from the X server by ffmpeg.
    QImage grab(const QByteArray& window) const {
        QMap<QString, int> geometry;
        for (const QByteArray& line : xdotool({QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"),
                                               QString::fromLatin1(window)})
                                          .split('\n'))
            geometry.insert(QString::fromLatin1(line.split('=').first()), line.split('=').last().toInt());
        const QString file = m_home->filePath(QStringLiteral("window.png"));
        QProcess ffmpeg;
        ffmpeg.start(QStringLiteral("ffmpeg"),
                     {QStringLiteral("-loglevel"), QStringLiteral("error"), QStringLiteral("-y"),
                      QStringLiteral("-f"), QStringLiteral("x11grab"), QStringLiteral("-video_size"),
                      QStringLiteral("%1x%2")
                          .arg(geometry.value(QStringLiteral("WIDTH")))
                          .arg(geometry.value(QStringLiteral("HEIGHT"))),
                      QStringLiteral("-i"),
                      QStringLiteral("%1+%2,%3")
                          .arg(qEnvironmentVariable("DISPLAY"))
                          .arg(geometry.value(QStringLiteral("X")))
                          .arg(geometry.value(QStringLiteral("Y"))),
                      QStringLiteral("-frames:v"), QStringLiteral("1"), file});
        ffmpeg.waitForFinished(30000);
        return QImage(file);
    }
    bool waitForLog(const QString& text, int ms = 20000) const {
        return QTest::qWaitFor([&] { return log().contains(text); }, ms);
    }
    // Starts a first copy, lets a second one try, and ends the first as the desktop would.
    void secondCopyGivesWay(bool deadBus) {
        QProcess first;
        start(first, {}, deadBus);
        QVERIFY2(waitForLog(QStringLiteral("launched app.orvane.Orvane")), qPrintable(log()));

        QProcess second;
        start(second, {}, deadBus);
        QVERIFY(second.waitForFinished(20000));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QVERIFY(second.readAllStandardError().contains("[Orvane] already running"));
        QVERIFY(!log().contains(QStringLiteral("already running"))); // the system log only

        // A menu dump runs beside it, with no display at all, and ends by itself.
        QProcess dump;
        QProcessEnvironment noDisplay = environment(deadBus);
        noDisplay.remove(QStringLiteral("DISPLAY"));
        noDisplay.remove(QStringLiteral("WAYLAND_DISPLAY"));
        dump.setProcessEnvironment(noDisplay);
        dump.start(
            QStringLiteral(ORVANE_BINARY),
            {QStringLiteral("--dump-menu"), QStringLiteral("--dump-menu-delay"), QStringLiteral("0.5")});
        QVERIFY(dump.waitForFinished(10000));
        QCOMPARE(dump.exitCode(), 0);
        const QByteArray text = dump.readAllStandardOutput();
        QVERIFY2(text.startsWith("Orvane \u2014 ") && text.contains("\n[Tune in Ctrl+Alt+R]\n") &&
                     text.endsWith("\nQuit Orvane  Ctrl+Q\n"),
                 qPrintable(text + log()));

        // So does the check of the surfaces, on the screen: the panel takes the focus beside the first
        // copy's.
        if (!deadBus && !qEnvironmentVariableIsEmpty("DISPLAY")) {
            QProcess check;
            start(check, {QStringLiteral("--ui-check")});
            QVERIFY(check.waitForFinished(60000));
            const QByteArray lines = check.readAllStandardOutput();
            QVERIFY2(check.exitCode() == 0 && lines.contains("ui-check: panel open at") &&
                         lines.endsWith("ui-check: ok\n"),
                     qPrintable(lines + log()));
        }

        QCOMPARE(first.state(), QProcess::Running);
        ::kill(pid_t(first.processId()), SIGTERM);
        QVERIFY(first.waitForFinished(20000));
        QCOMPARE(first.exitCode(), 0);
    }

private slots:
    void init() { m_home = std::make_unique<QTemporaryDir>(); }

    void makeIconsetWritesTenPicturesAndAScalableOne() {
        const QString dir = m_home->filePath(QStringLiteral("deep/icons.iconset"));
        QProcess p;
        start(p, {QStringLiteral("--make-iconset"), dir});
        QVERIFY(p.waitForFinished(30000));
        QCOMPARE(p.exitCode(), 0);
        QCOMPARE(QDir(dir).entryList({QStringLiteral("icon_*.png")}, QDir::Files).size(), 10);
        // The SVG reads as a picture.
        QVERIFY(!QImage(dir + QStringLiteral("/icon.svg")).isNull());
        QCOMPARE(QImage(dir + QStringLiteral("/icon_512x512@2x.png")).size(), QSize(1024, 1024));
        QCOMPARE(QImage(dir + QStringLiteral("/icon_16x16.png")).size(), QSize(16, 16));
    }

    void renderPreviewsDrawsComponentsAndNudgesInBothPalettes() {
        const QString dir = m_home->filePath(QStringLiteral("previews"));
        QProcess p;
        start(p, {QStringLiteral("--render-previews"), dir});
        QVERIFY(p.waitForFinished(60000));
        QCOMPARE(p.exitCode(), 0);
        const auto picture = [&](const QString& name) {
            return QImage(dir + QLatin1Char('/') + name + QStringLiteral(".png"));
        };
        for (const QString& kind : {QStringLiteral("call"), QStringLiteral("route"), QStringLiteral("upload"),
                                    QStringLiteral("break"), QStringLiteral("voiceCard")})
            for (const QString& scheme : {QStringLiteral("dark"), QStringLiteral("light")})
                QVERIFY2(!picture(QStringLiteral("nudge-%1-%2").arg(kind, scheme)).isNull(),
                         qPrintable(kind));
        for (const QString& state :
             {QStringLiteral("signed-out"), QStringLiteral("code"), QStringLiteral("signed-in"),
              QStringLiteral("account-error"), QStringLiteral("legacy-tested")})
            for (const QString& scheme : {QStringLiteral("dark"), QStringLiteral("light")})
                QVERIFY2(!picture(QStringLiteral("settings-%1-%2").arg(state, scheme)).isNull(),
                         qPrintable(state));
        for (const QString& state : {QStringLiteral("running"), QStringLiteral("complete"),
                                     QStringLiteral("no-highlights"), QStringLiteral("error")})
            for (const QString& scheme : {QStringLiteral("dark"), QStringLiteral("light")})
                QVERIFY2(!picture(QStringLiteral("wrap-%1-%2").arg(state, scheme)).isNull(),
                         qPrintable(state));
        // The board's failure page, drawn by the web engine on its dark ground.
        const QImage failure = picture(QStringLiteral("board-failure"));
        QVERIFY(qGray(failure.pixel(1, 1)) < 30);
        QVERIFY(!Board::isBlank(failure));
        // Each palette has its own ground.
        QVERIFY(qGray(picture(QStringLiteral("design-orb-dark")).pixel(1, 1)) < 30);
        QVERIFY(qGray(picture(QStringLiteral("design-orb-light")).pixel(1, 1)) > 230);
    }

    void selftest_data() {
        QTest::addColumn<QString>(
            "server"); // "": no live checks; "live", or "404" for a server without to-dos
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("line");
        QTest::newRow("on its own") << "" << 0 << "selftest: 4 of 4 checks passed";
        QTest::newRow("starting and finishing a to-do on a live server")
            << "live" << 0 << "selftest: 5 of 5 checks passed";
        QTest::newRow("a server without the to-do routes")
            << "404" << 1 << "selftest: todo actions FAILED: not found (HTTP 404)";
    }
    void selftest() {
        QFETCH(QString, server);
        QFETCH(int, exitCode);
        QFETCH(QString, line);
        LocalPlatform platform;
        QVERIFY2(platform.isRunning(), qPrintable(platform.error()));
        QStringList args{QStringLiteral("--selftest"), QStringLiteral("--out"),
                         m_home->filePath(QStringLiteral("out"))};
        if (!server.isEmpty())
            args << QStringLiteral("--server") << platform.base() + QStringLiteral("/legacy/local")
                 << QStringLiteral("--key") << QStringLiteral("legacy-key")
                 << QStringLiteral("--todo-actions");
        if (server == QLatin1String("404"))
            QVERIFY(platform.fault({QStringLiteral("/legacy/local/api/my/todos*"),
                                    404,
                                    R"({"error":"not found"})",
                                    {},
                                    {},
                                    {},
                                    10}));
        QProcess p;
        start(p, args);
        QVERIFY(p.waitForFinished(60000));
        QVERIFY2(p.exitCode() == exitCode, qPrintable(log()));
        QVERIFY2(log().contains(line), qPrintable(log()));
        if (server == QLatin1String("live")) {
            // The first to-do went through both steps on the server.
            const QJsonArray todos = platform.todos(QStringLiteral("legacy:local"));
            QCOMPARE(todos.first()[QStringLiteral("status")].toString(), QStringLiteral("done"));
        }
    }

    void recTest_data() {
        QTest::addColumn<bool>("display");
        QTest::newRow("on the screen") << true;
        QTest::newRow("without a display") << false;
    }
    void recTest() {
        QFETCH(bool, display);
        if (display) REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY"), "an X display");
        QProcess p;
        QProcessEnvironment env = environment();
        env.insert(QStringLiteral("TMPDIR"), m_home->path());
        if (!display) env.remove(QStringLiteral("DISPLAY"));
        p.setProcessEnvironment(env);
        p.start(QStringLiteral(ORVANE_BINARY), {QStringLiteral("--rec-test"), QStringLiteral("3")});
        QVERIFY(p.waitForFinished(60000));
        QCOMPARE(p.exitCode(), display ? 0 : 1);
        const QRegularExpression ok(
            QStringLiteral("rec-test OK: 3 s recorded and stopped, ([1-9][0-9]*) screenshots, [0-9]+ KB"));
        QVERIFY2(ok.match(log()).hasMatch() == display, qPrintable(log()));
        QVERIFY(log().contains(QStringLiteral("rec-test FAILED: ")) != display);
        // The scratch folder is gone either way.
        QVERIFY(!QFileInfo::exists(m_home->filePath(QStringLiteral("orvane-rectest"))));
    }

    void secondCopyExits() { secondCopyGivesWay(false); }

    void withoutSessionBusKeysGoToAPrivateFile() {
        secondCopyGivesWay(true);
        QVERIFY2(log().contains(QStringLiteral("no Secret Service on the session bus")), qPrintable(log()));
    }

    // The whole program signs in from its settings window: the code shows there, the approval on the platform
    // turns it to the projects with no click (read off the screen as a user sees it), and closing the window
    // with Ctrl+W leaves Orvane running.
    void signInShowsTheWindowUntilTheProjects() {
        REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY"), "an X server");
        LocalPlatform platform;
        QVERIFY2(platform.isRunning(), qPrintable(platform.error()));
        qputenv("XDG_CONFIG_HOME", m_home->filePath(QStringLiteral("config")).toUtf8());
        QVERIFY(QDir().mkpath(m_home->filePath(QStringLiteral("config/Orvane"))));
        QSettings(Settings::defaultsPath(qEnvironmentVariable("ORVANE_DEFAULTS_SUITE")), QSettings::IniFormat)
            .setValue(QStringLiteral("platformBase"), platform.base());
        QProcess p;
        QProcessEnvironment env = environment();
        env.insert(QStringLiteral("ORVANE_NO_BROWSER"), QStringLiteral("1"));
        p.setProcessEnvironment(env);
        p.start(QStringLiteral(ORVANE_BINARY), {QStringLiteral("--sign-in")});
        QVERIFY(p.waitForStarted(10000));
        QVERIFY2(waitForLog(QStringLiteral("sign-in: code ")), qPrintable(log()));
        const QString code =
            QRegularExpression(QStringLiteral("sign-in: code (\\S+)")).match(log()).captured(1);
        const QByteArray window =
            xdotool({QStringLiteral("search"), QStringLiteral("--sync"), QStringLiteral("--onlyvisible"),
                     QStringLiteral("--name"), QStringLiteral("^Orvane Settings$")});
        QVERIFY(window.toULongLong() != 0);
        QVERIFY(platform.approve(code));
        QVERIFY2(waitForLog(QStringLiteral("me: dev@orvane.test")), qPrintable(log()));
        const auto recognizer = os::linux_backends::makeTextRecognizer();
        QStringList read;
        const auto readsBrevik = [&] {
            read.clear();
            const QImage shown = grab(window);
            for (const os::TextLine& line : recognizer->recognize(shown, os::TextRecognizer::Level::accurate))
                read.append(line.text);
            return read.join(QLatin1Char('\n')).contains(QLatin1String("Brevik"));
        };
        QVERIFY2(QTest::qWaitFor(readsBrevik, 20000), qPrintable(read.join(QLatin1Char('\n'))));

        xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"), QString::fromLatin1(window),
                 QStringLiteral("key"), QStringLiteral("ctrl+w")});
        QVERIFY(QTest::qWaitFor(
            [&] {
                return xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                QStringLiteral("--name"), QStringLiteral("^Orvane Settings$")})
                    .isEmpty();
            },
            10000));
        // Still there and answering: a second copy finds it and gives way.
        QProcess second;
        start(second, {});
        QVERIFY(second.waitForFinished(20000));
        QVERIFY(second.readAllStandardError().contains("[Orvane] already running"));
        QCOMPARE(p.state(), QProcess::Running);
        p.terminate();
        QVERIFY(p.waitForFinished(10000));
        QCOMPARE(p.exitCode(), 0);
    }

    // Recordings left on disk reach the platform, each exactly once, with no screen and no tray; the program
    // keeps running.
    void retryPendingSendsWhatWasLeft() {
        LocalPlatform platform;
        QVERIFY2(platform.isRunning(), qPrintable(platform.error()));
        {
            // Three decided recordings: one for a project, one for Personal, and one whose call was created
            // before the audio failed.
            Earlier earlier(*m_home, platform);
            Settings& settings = earlier.settings;
            const QList<Workspace>& projects = earlier.projects;
            const QString recordings = m_home->filePath(QStringLiteral("support/recordings"));
            const auto decided = [&](const QString& title, int minutesAgo, std::optional<QUuid> project) {
                auto session =
                    Session::create(title, QStringLiteral("Zoom"), project,
                                    QDateTime::currentDateTimeUtc().addSecs(-60 * minutesAgo), recordings);
                session->meta.ended = session->meta.started.addSecs(30);
                session->meta.routeDone = true;
                session->meta.personal = project ? std::nullopt : std::optional<bool>(true);
                session->save();
                return session;
            };
            decided(QStringLiteral("For Brevik"), 30, projects.first().id);
            decided(QStringLiteral("For Personal"), 20, std::nullopt);
            auto half = decided(QStringLiteral("Half sent"), 10, projects.first().id);
            QFile audio(half->url(QStringLiteral("mixed.m4a")));
            QVERIFY(audio.open(QIODevice::WriteOnly));
            audio.write(QByteArray(4096, 'a'));
            audio.close();
            half->meta.audioFile = QStringLiteral("mixed.m4a");
            half->save();
            QVERIFY(platform.fault({QStringLiteral("/api/v1/p/brevik/calls/*"), 503, R"({"error":"busy"})"}));
            bool failed = false;
            try {
                testsupport::await(Uploader::upload(half, *settings.api(projects.first()), std::nullopt));
            } catch (const APIError&) {
                failed = true;
            }
            QVERIFY(failed);
            QVERIFY(Session::load(half->dir)->meta.callId);
        }
        QProcess p;
        start(p, {QStringLiteral("--retry-pending")}, true);
        for (const QString& title :
             {QStringLiteral("For Brevik"), QStringLiteral("For Personal"), QStringLiteral("Half sent")})
            QVERIFY2(waitForLog(QStringLiteral("uploaded %1 -> ").arg(title)), qPrintable(log()));
        QVERIFY(QDir(m_home->filePath(QStringLiteral("support/recordings")))
                    .isEmpty(QDir::Dirs | QDir::NoDotAndDotDot));
        QStringList scopes;
        for (const QJsonValue call : platform.calls())
            scopes << call[QStringLiteral("scope")].toString();
        QCOMPARE(scopes, QStringList({QStringLiteral("project:brevik"), QStringLiteral("project:brevik"),
                                      QStringLiteral("personal:1")}));
        QVERIFY(!log().contains(QStringLiteral("no system tray")));
        QCOMPARE(p.state(), QProcess::Running);
        p.terminate();
        QVERIFY(p.waitForFinished(10000));
        QCOMPARE(p.exitCode(), 0);
    }

    // The board checks itself on the engine, off screen: signed in from the account, foreign pages away, and
    // the picture of its first page.
    void boardCheckSignsInAndKeepsForeignPagesOut() {
        LocalPlatform platform;
        QVERIFY2(platform.isRunning(), qPrintable(platform.error()));
        { Earlier earlier(*m_home, platform); }
        const QString shot = m_home->filePath(QStringLiteral("board.png"));
        QProcess p;
        QProcessEnvironment env = environment(true);
        env.insert(QStringLiteral("ORVANE_BOARD_SHOT"), shot);
        env.insert(QStringLiteral("ORVANE_NO_BROWSER"), QStringLiteral("1"));
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        p.setProcessEnvironment(env);
        p.start(QStringLiteral(ORVANE_BINARY), {QStringLiteral("--board-check")});
        QVERIFY(p.waitForFinished(90000));
        QCOMPARE(p.exitCode(), 0);
        QVERIFY2(log().contains(QStringLiteral("/app after 1 exchange(s)")), qPrintable(log()));
        QVERIFY(log().contains(QStringLiteral("board-check: passed")));
        QVERIFY(!Board::isBlank(QImage(shot)));
        // A throw-away profile: the support folder keeps no web session of the check.
        QVERIFY(!QDir(m_home->filePath(QStringLiteral("support/board"))).exists());
    }
};

QTEST_GUILESS_MAIN(TestProgram)
#include "tst_program.moc"
