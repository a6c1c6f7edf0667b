// A recorded minute of the tray icon as a StatusNotifierItem host sees it, against an idle minute in the same
// run: the icon blinks every half second and the tooltip's clock changes every second, a stand-in panel reads
// each change as Plasma does, and dbus-monitor records every message the icon's connection sends. Prints the
// CPU time of this process and the messages and bytes sent, for the minute and extrapolated to the hour.
// Usage: bench_tray [seconds per phase, default 60] (needs a session bus and $DISPLAY)
#include "fakes/FakeStatusNotifierWatcher.h"
#include "surfaces/StatusItem.h"

#include <QApplication>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>
#include <cstring>
#include <functional>
#include <sys/resource.h>

namespace {

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

struct Traffic {
    int messages = 0;
    qint64 bytes = 0;
};

// A pcap file of D-Bus messages: a 24-byte header, then per message 16 bytes of record header and the
// message.
Traffic readCapture(const QString& path) {
    QFile file(path);
    Traffic traffic;
    if (!file.open(QIODevice::ReadOnly)) return traffic;
    const QByteArray data = file.readAll();
    for (qsizetype at = 24; at + 16 <= data.size();) {
        quint32 length = 0;
        std::memcpy(&length, data.constData() + at + 8, 4);
        ++traffic.messages;
        traffic.bytes += length;
        at += 16 + qsizetype(length);
    }
    return traffic;
}

// Runs `seconds` of the loop with dbus-monitor recording what `sender` sends.
Traffic monitored(const QString& sender, int seconds, const QString& capture,
                  const std::function<void()>& during, double& cpu) {
    QProcess monitor;
    monitor.setStandardOutputFile(capture);
    monitor.start(QStringLiteral("dbus-monitor"), {QStringLiteral("--session"), QStringLiteral("--pcap"),
                                                   QStringLiteral("sender='%1'").arg(sender)});
    monitor.waitForStarted();
    // dbus-monitor writes the file's header once it is a monitor of the bus.
    if (!QTest::qWaitFor([&] { return QFileInfo(capture).size() >= 24; }, 5000))
        std::fputs("dbus-monitor wrote no header: the counts below miss messages\n", stderr);
    const double before = cpuSeconds();
    during();
    QEventLoop loop;
    QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
    loop.exec();
    cpu = cpuSeconds() - before;
    monitor.terminate();
    monitor.waitForFinished();
    return readCapture(capture);
}

void print(const char* phase, double cpu, const Traffic& t, int seconds) {
    const double hour = 3600.0 / seconds;
    std::printf(
        "%-10s CPU %7.1f ms  messages %5d  bytes %9lld  | per hour: CPU %6.2f s  messages %7.0f  MB %7.1f\n",
        phase, cpu * 1000, t.messages, static_cast<long long>(t.bytes), cpu * hour, t.messages * hour,
        double(t.bytes) * hour / 1e6);
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const int seconds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 60;
    FakeStatusNotifierWatcher panel;
    if (!panel.start()) {
        std::fputs("the stand-in panel did not start\n", stderr);
        return 1;
    }
    StatusItem item({[] { return false; }});
    QString path;
    if (!QTest::qWaitFor([&] { return !(path = panel.itemOf(QCoreApplication::applicationPid())).isEmpty(); },
                         10000)) {
        std::fputs("the icon never registered\n", stderr);
        return 1;
    }
    const QString sender =
        QDBusConnection::sessionBus().interface()->serviceOwner(path.left(path.indexOf(QLatin1Char('/'))));
    QTemporaryDir dir;

    double idleCpu = 0;
    const Traffic idle = monitored(
        sender, seconds, dir.filePath(QStringLiteral("idle.pcap")), [] {}, idleCpu);

    // As the recording's one-second tick drives it.
    QTimer tick;
    double elapsed = 0;
    QObject::connect(&tick, &QTimer::timeout, [&] {
        elapsed += 1;
        item.update({StatusItem::Phase::recording, elapsed, QString()});
    });
    double recordingCpu = 0;
    const Traffic recording = monitored(
        sender, seconds, dir.filePath(QStringLiteral("recording.pcap")),
        [&] {
            item.update({StatusItem::Phase::recording, elapsed, QString()});
            tick.start(1000);
        },
        recordingCpu);
    tick.stop();

    std::printf("%d s per phase\n", seconds);
    print("idle", idleCpu, idle, seconds);
    print("recording", recordingCpu, recording, seconds);
    return 0;
}
