// The per-frame costs of the capture path on a 1440x900 frame: the two grey prints, the JPEG of a kept frame,
// OCR in both modes (on that frame and on the six slides of the talk), and one X11 grab through shared
// memory. `bench_frames --write-frame PATH` writes the text-heavy frame as PNG for the tesseract command
// (bench/frames.sh).

#include "Talk.h"
#include "os/linux/TesseractRecognizer.h"
#include "os/linux/X11ScreenSource.h"
#include "recording/Frames.h"
#include "recording/OCR.h"

#include <QFont>
#include <QGuiApplication>
#include <QPainter>
#include <benchmark/benchmark.h>
#include <cstring>

namespace {

// A page of prose in two columns of 22-pixel type under a heading, like a document on a laptop screen.
QImage textHeavyFrame() {
    QImage frame(1440, 900, QImage::Format_RGB32);
    frame.fill(QColor(250, 250, 248));
    QPainter p(&frame);
    p.setPen(QColor(30, 30, 30));
    QFont heading(QStringLiteral("DejaVu Sans"));
    heading.setPixelSize(40);
    p.setFont(heading);
    p.drawText(60, 80, QStringLiteral("Quarterly operations review"));
    QFont body(QStringLiteral("DejaVu Sans"));
    body.setPixelSize(20);
    p.setFont(body);
    const QStringList sentences = {
        QStringLiteral("Support volume fell by a fifth after the new help pages went live."),
        QStringLiteral("The billing migration finished two weeks later than planned."),
        QStringLiteral("Three customers asked for single sign-on before renewing."),
        QStringLiteral("Hiring for the data team is on track with two offers out."),
        QStringLiteral("Latency of the search service stayed under the agreed limit."),
    };
    for (int column = 0; column < 2; ++column)
        for (int line = 0; line < 24; ++line)
            p.drawText(QRect(60 + column * 690, 120 + line * 31, 660, 30), Qt::AlignLeft | Qt::AlignVCenter,
                       sentences[(line + column * 2) % sentences.size()]);
    return frame;
}

const QImage& slideFrame() {
    static const QImage frame = textHeavyFrame();
    return frame;
}

void signatureAndFine(benchmark::State& state) {
    const QImage& frame = slideFrame();
    for (auto _ : state) {
        benchmark::DoNotOptimize(Frames::signature(frame));
        benchmark::DoNotOptimize(Frames::fine(frame));
    }
}

void jpegAt60(benchmark::State& state) {
    const QImage& frame = slideFrame();
    std::size_t bytes = 0;
    for (auto _ : state) {
        const std::optional<QByteArray> jpeg = Frames::jpeg(frame, 0.6);
        bytes = jpeg ? std::size_t(jpeg->size()) : 0;
    }
    state.counters["bytes"] = double(bytes);
}

void ocr(benchmark::State& state, bool fast) {
    OCR reader([] { return std::make_unique<os::TesseractRecognizer>(); });
    const QImage& frame = slideFrame();
    const Reading warm = reader.read(frame, fast); // loads the model outside the measured loop
    for (auto _ : state)
        benchmark::DoNotOptimize(reader.read(frame, fast));
    state.counters["chars"] = double(warm.text.size());
}
void ocrAccurate(benchmark::State& state) {
    ocr(state, false);
}
void ocrFast(benchmark::State& state) {
    ocr(state, true);
}

// One slide after another, as a slideshow shows them; `apart` is the highest word similarity between the
// readings of two different slides (a text change needs less than 0.7).
void ocrSlides(benchmark::State& state, bool fast) {
    OCR reader([] { return std::make_unique<os::TesseractRecognizer>(); });
    std::vector<QImage> slides;
    for (const auto& lines : talk())
        slides.push_back(Slides::draw(lines));
    QStringList texts;
    for (const QImage& slide : slides)
        texts << reader.text(slide, fast); // loads the model outside the measured loop
    std::size_t next = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(reader.read(slides[next++ % slides.size()], fast));
    double apart = 0;
    for (qsizetype a = 0; a < texts.size(); ++a)
        for (qsizetype b = a + 1; b < texts.size(); ++b)
            apart = std::max(apart, OCR::similarity(texts[a], texts[b]));
    state.counters["apart"] = apart;
}
void ocrSlidesAccurate(benchmark::State& state) {
    ocrSlides(state, false);
}
void ocrSlidesFast(benchmark::State& state) {
    ocrSlides(state, true);
}

void x11Grab(benchmark::State& state) {
    os::X11ScreenSource screen;
    try {
        screen.grabPrimary(); // connects and attaches the shared segment once, as a recording does
    } catch (const os::ScreenError& e) {
        state.SkipWithError(e.what());
        return;
    }
    int width = 0, height = 0;
    for (auto _ : state) {
        const os::ScreenFrame frame = screen.grabPrimary();
        width = frame.image.width();
        height = frame.image.height();
    }
    state.counters["width"] = width;
    state.counters["height"] = height;
}

} // namespace

BENCHMARK(signatureAndFine)->Unit(benchmark::kMillisecond);
BENCHMARK(jpegAt60)->Unit(benchmark::kMillisecond);
BENCHMARK(ocrAccurate)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(ocrFast)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(ocrSlidesAccurate)->Unit(benchmark::kMillisecond)->Iterations(30);
BENCHMARK(ocrSlidesFast)->Unit(benchmark::kMillisecond)->Iterations(30);
BENCHMARK(x11Grab)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen"); // the frames are drawn into images; the grab goes to $DISPLAY
    QGuiApplication app(argc, argv);
    if (argc == 3 && std::strcmp(argv[1], "--write-frame") == 0)
        return slideFrame().convertToFormat(QImage::Format_Grayscale8).save(QString::fromLocal8Bit(argv[2]))
                   ? 0
                   : 1;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
