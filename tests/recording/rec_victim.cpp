// Records the screen, the computer's sound and the microphone with the real capture services into a new
// session under the folder named on its command line, until it is killed: what a crash leaves, for the tests
// of the recovery. Once recording it prints "recording <monotonic seconds of the timeline's zero>", and at
// the microphone's first buffer "mic <seconds on the timeline>": where the microphone's track begins; then
// "frame" for each frame of the screen.
#include "os/linux/Backends.h"
#include "recording/Recorder.h"

#include <QCoreApplication>
#include <QTextStream>
#include <cstdio>
#include <mutex>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() != 2) {
        QTextStream(stderr) << "usage: rec_victim <recordings folder>\n";
        return 2;
    }
    const std::unique_ptr<os::FrameStream> frames = os::linux_backends::makeFrameStream(false);
    const std::unique_ptr<os::AudioCapture> audio = os::linux_backends::makeAudioCapture();
    OCR ocr([] { return os::linux_backends::makeTextRecognizer(); });
    const auto session = Session::create(QStringLiteral("Killed"), QStringLiteral("Screen"), std::nullopt,
                                         QDateTime::currentDateTimeUtc(), arguments[1]);
    Recorder recorder(session, {*frames, *audio, ocr});
    std::once_flag heard;
    recorder.onMicBuffer = [&](const AudioBuffer&) {
        std::call_once(heard, [&] {
            std::printf("mic %.6f\n", recorder.elapsed());
            std::fflush(stdout);
        });
    };
    // Each frame that went through the capture queue, so that the test changes its slides frame by frame.
    recorder.onFrameTick = [](double) {
        std::printf("frame\n");
        std::fflush(stdout);
    };
    recorder.start(true);
    std::printf("recording %.6f\n", recorder.startedHost());
    std::fflush(stdout);
    return app.exec();
}
