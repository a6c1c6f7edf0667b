#include "app/SelfTest.h"

#include "core/Keychain.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "os/FileSecretStore.h"
#include "os/linux/Backends.h"
#include "recording/AudioError.h"
#include "recording/LevelReader.h"
#include "recording/MonoWriter.h"
#include "recording/Session.h"
#include "server/Settings.h"
#include "workday/TodoStore.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QDir>
#include <QFile>
#include <QNetworkAccessManager>
#include <QThread>
#include <algorithm>
#include <atomic>
#include <functional>

namespace SelfTest {
namespace {

using Check = std::function<QString(const QString& dir)>; // empty text = passed

QString sessionRoundTrip(const QString& dir) {
    const QString base = Paths::ensure(dir + QStringLiteral("/recordings"));
    auto session = Session::create(QStringLiteral("Self-test"), QStringLiteral("Screen"), std::nullopt,
                                   QDateTime::currentDateTimeUtc(), base);
    session->addShot(1.5, QByteArrayLiteral("jpeg"));
    session->addPin(2.0, QStringLiteral("a note"), QByteArrayLiteral("jpeg"), true);
    session->meta.ended = QDateTime::currentDateTimeUtc();
    session->save();
    const auto loaded = Session::load(session->dir);
    if (!loaded) return QStringLiteral("meta.json did not load back");
    if (loaded->meta.shots != session->meta.shots || loaded->meta.pins != session->meta.pins)
        return QStringLiteral("shots or pins changed on the way");
    if (Session::pending(base).size() != 1) return QStringLiteral("the finished session is not pending");
    return {};
}

QString settingsRoundTrip(const QString& dir) {
    os::FileSecretStore secrets(dir + QStringLiteral("/secrets.json"));
    Keychain keychain(secrets, QStringLiteral("orvane.selftest"));
    QSettings store(dir + QStringLiteral("/selftest.conf"), QSettings::IniFormat);
    QNetworkAccessManager network; // nothing is sent
    {
        Settings first(store, keychain, network);
        first.setBreakMinutes(42);
        first.signIn(QStringLiteral("key"), QStringLiteral("self@test"), QStringLiteral("Self"));
    }
    Settings second(store, keychain, network);
    if (second.breakMinutes() != 42) return QStringLiteral("a preference did not persist");
    if (!second.signedIn()) return QStringLiteral("the account did not persist");
    second.signOut();
    if (keychain.get(Keychain::accountItem)) return QStringLiteral("sign-out left the key behind");
    return {};
}

QString logLine(const QString&) {
    const QString marker = QStringLiteral("selftest: log %1").arg(QCoreApplication::applicationPid());
    slog(marker);
    slogFlush();
    QFile log(Paths::logFile());
    if (!log.open(QIODevice::ReadOnly) || !log.readAll().contains(marker.toUtf8()))
        return QStringLiteral("the line did not reach ") + Paths::logFile();
    return {};
}

// One source's second of audio, written as a recording writes it.
struct TrackCheck {
    explicit TrackCheck(const QString& path) : writer(path) {}

    os::AudioReceiver receiver() {
        return {[this](const AudioBuffer& buffer, double at) {
                    writer.write(buffer, at);
                    seconds = seconds + double(buffer.frames) / buffer.format.sampleRate;
                },
                {}};
    }

    // Empty when the closed track holds the second and reads back.
    QString problem() const {
        if (writer.lastError()) return *writer.lastError();
        if (!writer.hasAudio() || writer.duration() < 1.0)
            return QStringLiteral("%1 s written").arg(writer.duration());
        try {
            const qsizetype windows = LevelReader::levels(writer.path()).size();
            if (windows < 3) return QStringLiteral("%1 level windows read back").arg(windows);
        } catch (const AudioError& error) {
            return error.text();
        }
        return {};
    }

    MonoWriter writer;
    std::atomic<double> seconds = 0;
};

// Records a second from each source that the sound server offers; a missing source is logged, not a failure.
QString audioCapture(const QString& dir) {
    const std::unique_ptr<os::AudioCapture> capture = os::linux_backends::makeAudioCapture();
    std::vector<std::pair<os::AudioSource, std::unique_ptr<TrackCheck>>> tracks;
    for (const os::AudioSource source : {os::AudioSource::System, os::AudioSource::Mic}) {
        auto track = std::make_unique<TrackCheck>(dir + QLatin1Char('/') + os::sourceName(source) +
                                                  QStringLiteral(".m4a"));
        try {
            capture->start(source, track->receiver());
            tracks.emplace_back(source, std::move(track));
        } catch (const os::AudioCaptureError& error) {
            slog(QStringLiteral("selftest: no %1 audio: %2")
                     .arg(os::sourceName(source), QString::fromUtf8(error.what())));
        }
    }
    const auto recorded = [&] {
        return std::all_of(tracks.begin(), tracks.end(),
                           [](const auto& track) { return track.second->seconds >= 1.1; });
    };
    for (int waited = 0; !recorded() && waited < 3000; waited += 20)
        QThread::msleep(20);
    QStringList problems;
    for (auto& [source, track] : tracks) {
        capture->stop(source);
        track->writer.close();
        if (const QString problem = track->problem(); !problem.isEmpty())
            problems.append(os::sourceName(source) + QStringLiteral(": ") + problem);
    }
    return problems.join(QStringLiteral("; "));
}

// The server answers who the user is and lists the to-dos; with `act`, the first to-do is started and then
// finished, and the list read back after each step says so.
QCoro::Task<QString> liveServer(API api, bool act) {
    try {
        auto asking = api.me();
        const QString me = co_await std::move(asking);
        auto listing = api.todos();
        const QList<Todo> todos = co_await std::move(listing);
        slog(QStringLiteral("selftest: %1 is %2 with %3 to-dos").arg(api.server(), me).arg(todos.size()));
        if (!act) co_return QString();
        if (todos.isEmpty()) co_return QStringLiteral("no to-do to start");
        const Todo todo = todos.first();
        auto starting = api.startTodo(todo.id);
        co_await std::move(starting);
        auto afterStart = api.todos();
        const QList<Todo> started = co_await std::move(afterStart);
        const auto same = [&](const Todo& t) { return t.id == todo.id; };
        const auto found = std::find_if(started.begin(), started.end(), same);
        if (found == started.end() || !TodoStore::startedStatuses.contains(found->status.toLower()))
            co_return QStringLiteral("“%1” did not read as started").arg(todo.title);
        slog(QStringLiteral("selftest: todo start ") + todo.title);
        auto finishing = api.finishTodo(todo.id);
        co_await std::move(finishing);
        auto afterFinish = api.todos();
        const QList<Todo> finished = co_await std::move(afterFinish);
        if (std::any_of(finished.begin(), finished.end(), same))
            co_return QStringLiteral("“%1” is still open after it was finished").arg(todo.title);
        slog(QStringLiteral("selftest: todo finish ") + todo.title);
        co_return QString();
    } catch (const APIError& error) {
        co_return error.errorDescription();
    }
}

} // namespace

int run(const Arguments& args) {
    const QString dir =
        args.value(QStringLiteral("--out"))
            .value_or(QDir::tempPath() +
                      QStringLiteral("/orvane-selftest-%1").arg(QCoreApplication::applicationPid()));
    Paths::ensure(dir);
    std::vector<std::pair<const char*, Check>> checks = {{"session store", sessionRoundTrip},
                                                         {"settings", settingsRoundTrip},
                                                         {"log", logLine},
                                                         {"audio capture", audioCapture}};
    const std::optional<QString> server = args.value(QStringLiteral("--server"));
    QNetworkAccessManager network;
    if (server) {
        const bool act = args.has(QStringLiteral("--todo-actions"));
        checks.emplace_back(act ? "todo actions" : "server", [&, act](const QString&) {
            // The task catches every failure of its own, so waiting on it always returns.
            return QCoro::waitFor(liveServer(
                API(network, *server, args.value(QStringLiteral("--key")).value_or(QString())), act));
        });
    }
    int failed = 0;
    for (const auto& [name, check] : checks) {
        const QString problem = check(dir);
        slog(problem.isEmpty() ? QStringLiteral("selftest: %1 ok").arg(QLatin1String(name))
                               : QStringLiteral("selftest: %1 FAILED: %2").arg(QLatin1String(name), problem));
        failed += problem.isEmpty() ? 0 : 1;
    }
    slog(QStringLiteral("selftest: %1 of %2 checks passed").arg(checks.size() - failed).arg(checks.size()));
    slogFlush();
    return failed == 0 ? 0 : 1;
}

} // namespace SelfTest
