// Peak resident memory of the upload's create step against the size of the body it sends.
//
//   bench_upload_memory make <folder>     writes a finished session of 181 screenshots of about 150 KB
//   bench_upload_memory measure <session> sends it to the local platform (create step only) and prints
//                                         body size, idle and peak resident memory
//
// The two are separate processes so that making the images leaves nothing in the measured process; VmHWM
// (the peak) is per process, so every measurement needs a fresh one. bench/upload-memory.sh runs both.

#include "recording/Uploader.h"
#include "support/Await.h"
#include "support/LocalPlatform.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <cstdio>

namespace {
constexpr int shotCount = 181;
// Noise of this size at this quality gives JPEGs of about 150 KB: nothing for base64 or the network to
// compress away.
constexpr QSize shotSize{540, 360};
constexpr int shotQuality = 85;

// A field of /proc/self/status in bytes ("VmRSS", "VmHWM"), or -1.
qint64 statusBytes(const char* field) {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly | QIODevice::Text)) return -1;
    const QRegularExpression line(QStringLiteral("^%1:\\s+(\\d+) kB$").arg(QLatin1String(field)),
                                  QRegularExpression::MultilineOption);
    const QRegularExpressionMatch match = line.match(QString::fromLatin1(status.readAll()));
    return match.hasMatch() ? match.captured(1).toLongLong() * 1024 : -1;
}

// Lowers VmHWM to the current VmRSS, so that the next peak is the create step's own.
bool resetPeak() {
    QFile clearRefs(QStringLiteral("/proc/self/clear_refs"));
    return clearRefs.open(QIODevice::WriteOnly) && clearRefs.write("5") == 1;
}

QByteArray noiseJpeg() {
    QImage image(shotSize, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        auto* row = reinterpret_cast<quint32*>(image.scanLine(y));
        QRandomGenerator::global()->fillRange(row, image.width());
    }
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "JPEG", shotQuality))
        qFatal("Qt cannot write JPEG (is the qjpeg image plugin installed?)");
    return jpeg;
}

int make(const QString& base) {
    auto session = Session::create(QStringLiteral("Quarterly review"), QStringLiteral("Meet"), std::nullopt,
                                   QDateTime::currentDateTimeUtc().addSecs(-3 * 3600), base);
    qint64 bytes = 0;
    for (int i = 0; i < shotCount; ++i) {
        const QByteArray jpeg = noiseJpeg();
        bytes += jpeg.size();
        session->addShot(60.0 * i, jpeg);
    }
    session->meta.participants = {QStringLiteral("Ivo"), QStringLiteral("Tess")};
    session->meta.ended = session->meta.started.addSecs(3 * 3600);
    session->save();
    std::printf("%s\n%d screenshots, %.1f KB each on average\n", qPrintable(session->dir), shotCount,
                double(bytes) / shotCount / 1024);
    return 0;
}

// The size of payload.json as the server received it: the body of the create request.
qint64 bodySize(LocalPlatform& platform, const API& api) {
    const QString create = api.url(QStringLiteral("/api/calls")).path();
    for (const QJsonValue request : platform.requests())
        if (request[QStringLiteral("method")].toString() == QLatin1String("POST") &&
            request[QStringLiteral("path")].toString() == create)
            return request[QStringLiteral("body_size")].toInteger();
    return -1;
}

double mib(qint64 bytes) {
    return double(bytes) / (1024 * 1024);
}

int measure(const QString& dir) {
    auto session = Session::load(dir);
    if (!session) {
        std::fprintf(stderr, "no session in %s\n", qPrintable(dir));
        return 2;
    }
    LocalPlatform platform;
    if (!platform.isRunning()) {
        std::fprintf(stderr, "%s\n", qPrintable(platform.error()));
        return 2;
    }
    const QString base = platform.base();
    const auto network = API::makeNetwork();
    const API api(*network, base + QStringLiteral("/app/p/brevik"), QStringLiteral("dev-key"),
                  base + QStringLiteral("/api/v1/p/brevik"));

    // Idle: everything started, the network used once, as in the app before it uploads.
    testsupport::await(api.me());
    if (!resetPeak()) {
        std::fprintf(stderr, "cannot reset the peak through /proc/self/clear_refs\n");
        return 2;
    }
    const qint64 idle = statusBytes("VmRSS");

    // No audio and no processing: the create step is the whole upload.
    Uploader::Options options;
    options.process = false;
    testsupport::await(Uploader::upload(session, api, QStringLiteral("Dev"), options));
    const qint64 peak = statusBytes("VmHWM");
    const qint64 body = bodySize(platform, api);
    if (!session->meta.callId || body <= 0 || idle < 0 || peak < 0) {
        std::fprintf(stderr, "the create step did not finish or /proc/self/status is unreadable\n");
        return 2;
    }

    const qint64 target = 2 * body + idle;
    const double ratio = double(peak - idle) / double(body);
    std::printf("body (payload.json)  %8.1f MiB\n", mib(body));
    std::printf("idle RSS             %8.1f MiB\n", mib(idle));
    std::printf("peak RSS (create)    %8.1f MiB\n", mib(peak));
    std::printf("peak - idle          %8.1f MiB\n", mib(peak - idle));
    std::printf("(peak - idle) / body %8.3f\n", ratio);
    std::printf("target: peak < 2 x body + idle = %.1f MiB: %s\n", mib(target),
                peak < target ? "PASS" : "FAIL");
    return peak < target ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    try {
        if (args.size() == 3 && args[1] == QLatin1String("make")) return make(args[2]);
        if (args.size() == 3 && args[1] == QLatin1String("measure")) return measure(args[2]);
    } catch (const std::exception& e) { // a refused request or an unwritable folder
        std::fprintf(stderr, "%s\n", e.what());
        return 2;
    }
    std::fprintf(stderr, "usage: %s make <folder> | measure <session folder>\n", argv[0]);
    return 2;
}
