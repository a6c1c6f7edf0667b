#include "app/RecTest.h"

#include "core/Log.h"
#include "core/ScreenAccess.h"
#include "os/linux/Backends.h"
#include "recording/OCR.h"
#include "recording/Recorder.h"

#include <QDir>
#include <QDirIterator>
#include <QThread>
#include <cmath>

namespace RecTest {
namespace {

struct Saved {
    int shots = 0;
    qint64 bytes = 0;
};

Saved saved(const QString& dir) {
    Saved result;
    QDirIterator it(dir, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        result.bytes += it.fileInfo().size();
        if (QDir(dir).relativeFilePath(it.filePath()).startsWith(QLatin1String("shots/"))) ++result.shots;
    }
    return result;
}

} // namespace

int run(double seconds, bool wayland) {
    const QString base = QDir::temp().filePath(QStringLiteral("orvane-rectest"));
    int status = 1;
    try {
        const auto screen = os::linux_backends::makeScreenSource(wayland);
        // Whether the screen can be read is the whole preflight: X11 asks nothing, and on Wayland the
        // portal asks when the recording starts.
        const QString readable =
            ScreenAccess::works(*screen) ? QStringLiteral("true") : QStringLiteral("false");
        slog(QStringLiteral("rec-test: preflight=%1 sck=%1").arg(readable));

        const auto frames = os::linux_backends::makeFrameStream(wayland);
        const auto audio = os::linux_backends::makeAudioCapture();
        OCR ocr(os::linux_backends::makeTextRecognizer);
        const auto session =
            Session::create(QStringLiteral("Recording test"), QStringLiteral("Screen"), std::nullopt,
                            QDateTime::currentDateTimeUtc(), Paths::ensure(base));
        Recorder recorder(session, {*frames, *audio, ocr});
        recorder.start(false);
        QThread::msleep(static_cast<unsigned long>(std::max(seconds, 0.0) * 1000));
        recorder.stop();

        const Saved result = saved(session->dir);
        slog(QStringLiteral("rec-test OK: %1 s recorded and stopped, %2 screenshots, %3 KB")
                 .arg(qint64(seconds))
                 .arg(result.shots)
                 .arg(result.bytes / 1024));
        status = 0;
    } catch (const std::exception& error) { // AudioError and the os backends' errors alike
        slog(QStringLiteral("rec-test FAILED: ") + QString::fromUtf8(error.what()));
    }
    QDir(base).removeRecursively();
    slogFlush();
    return status;
}

} // namespace RecTest
