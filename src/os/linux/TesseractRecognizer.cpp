#include "os/linux/TesseractRecognizer.h"

#include <QLoggingCategory>
#include <dlfcn.h>
#include <iterator>
#include <mutex>
#include <tesseract/capi.h>

Q_LOGGING_CATEGORY(lcTesseract, "tesseract")

namespace os {
namespace {

// The library is opened by hand on first use, so that the start of the program never pays for it, and its
// OpenMP threads are kept out: with them, one page takes ten times longer on two cores. The environment
// cannot do that here: QtCore brings OpenMP in (QtCore -> libb2 -> libgomp) before main, and OpenMP reads
// OMP_THREAD_LIMIT once, as it loads, so setting it in the program takes no effect. Each reading thread turns
// parallel regions off for itself instead (a per-thread setting).
struct Library {
    decltype(&TessBaseAPICreate) create = nullptr;
    decltype(&TessBaseAPIDelete) destroy = nullptr;
    decltype(&TessBaseAPIInit4) init = nullptr;
    decltype(&TessBaseAPISetPageSegMode) setPageSegMode = nullptr;
    decltype(&TessBaseAPISetImage) setImage = nullptr;
    decltype(&TessBaseAPISetSourceResolution) setResolution = nullptr;
    decltype(&TessBaseAPIRecognize) recognize = nullptr;
    decltype(&TessBaseAPIGetIterator) iterator = nullptr;
    decltype(&TessResultIteratorGetPageIteratorConst) pageIterator = nullptr;
    decltype(&TessPageIteratorBoundingBox) boundingBox = nullptr;
    decltype(&TessResultIteratorGetUTF8Text) text = nullptr;
    decltype(&TessResultIteratorNext) next = nullptr;
    decltype(&TessResultIteratorDelete) deleteIterator = nullptr;
    decltype(&TessDeleteText) deleteText = nullptr;
    decltype(&TessBaseAPIMeanTextConf) meanConfidence = nullptr;
    void (*setMaxActiveLevels)(int) = nullptr; // omp_set_max_active_levels of libgomp
    QString error;

    static const Library& get() {
        static Library library;
        static std::once_flag once;
        std::call_once(once, [] { library.open(); });
        return library;
    }

private:
    template <class F> void bind(void* handle, F& function, const char* name) {
        function = reinterpret_cast<F>(dlsym(handle, name));
        if (!function && error.isEmpty()) error = QStringLiteral("libtesseract lacks ") + QLatin1String(name);
    }

    void open() {
        void* handle = dlopen("libtesseract.so.5", RTLD_NOW | RTLD_LOCAL);
        if (!handle) {
            error = QStringLiteral("cannot load Tesseract: ") + QString::fromLocal8Bit(dlerror());
            return;
        }
        bind(handle, create, "TessBaseAPICreate");
        bind(handle, destroy, "TessBaseAPIDelete");
        bind(handle, init, "TessBaseAPIInit4");
        bind(handle, setPageSegMode, "TessBaseAPISetPageSegMode");
        bind(handle, setImage, "TessBaseAPISetImage");
        bind(handle, setResolution, "TessBaseAPISetSourceResolution");
        bind(handle, recognize, "TessBaseAPIRecognize");
        bind(handle, iterator, "TessBaseAPIGetIterator");
        bind(handle, pageIterator, "TessResultIteratorGetPageIteratorConst");
        bind(handle, boundingBox, "TessPageIteratorBoundingBox");
        bind(handle, text, "TessResultIteratorGetUTF8Text");
        bind(handle, next, "TessResultIteratorNext");
        bind(handle, deleteIterator, "TessResultIteratorDelete");
        bind(handle, deleteText, "TessDeleteText");
        bind(handle, meanConfidence, "TessBaseAPIMeanTextConf");
        setMaxActiveLevels = reinterpret_cast<void (*)(int)>(dlsym(handle, "omp_set_max_active_levels"));
        if (!setMaxActiveLevels)
            qCWarning(lcTesseract) << "no OpenMP in Tesseract's reach; it reads single-threaded as it is";
    }
};

constexpr int screenDpi = 96;
// The lowest resolution Tesseract accepts, for the small images of fast mode.
constexpr int lowestDpi = 70;
// Tesseract refuses images narrower or lower than this.
constexpr int smallestSide = 3;
// Fast mode's cost follows the size of the image it reads. At 0.35 of the screen's size the type of slides
// (32 pixels and up) is still read surely (Tesseract's mean confidence above 80), and a one-word edit still
// reads as nearly the same text; at 0.3 it no longer does. The 20-pixel type of documents is not read at that
// size (a mean confidence of 64 or less): then half size reads the frame again.
constexpr double fastScales[] = {0.35, 0.5};
constexpr int sureConfidence = 75;

} // namespace

// One loaded model with the settings of one level. Loading failures stick, so a missing model costs one
// attempt.
struct TesseractRecognizer::Engine {
    const Library& lib;
    TessBaseAPI* api = nullptr;
    QString error;
    // Of the last read, 0 to 100.
    int confidence = 0;

    Engine(const Library& library, Level level) : lib(library) {
        if (!lib.error.isEmpty()) {
            error = lib.error;
            return;
        }
        api = lib.create();
        // Fast mode goes without the word lists (read at load time, they steer every line) and without the
        // second reading of each doubtful line as inverted text.
        // Its chatter ("Empty page!!" for every frame without text) would go to our standard error.
        const char* flag = level == Level::fast ? "0" : "1";
        const char* names[] = {"load_system_dawg", "load_freq_dawg", "tessedit_do_invert", "debug_file"};
        const char* values[] = {flag, flag, flag, "/dev/null"};
        if (lib.init(api, nullptr, "eng", tesseract::OEM_LSTM_ONLY, nullptr, 0, const_cast<char**>(names),
                     const_cast<char**>(values), std::size(names), false) != 0) {
            error =
                QStringLiteral("cannot load the English model eng.traineddata (package tesseract-ocr-eng)");
            return;
        }
        // Fast mode reads the frame as one block of text: the order of columns does not matter to a
        // comparison of the words, and the layout analysis is skipped.
        lib.setPageSegMode(api, level == Level::fast ? tesseract::PSM_SINGLE_BLOCK : tesseract::PSM_AUTO);
    }

    ~Engine() {
        if (api) lib.destroy(api);
    }

    std::vector<TextLine> read(const QImage& grey, int dpi) {
        if (!error.isEmpty()) throw TextRecognitionError(error.toStdString());
        if (lib.setMaxActiveLevels)
            lib.setMaxActiveLevels(0); // no parallel region starts threads on this thread

        lib.setImage(api, grey.constBits(), grey.width(), grey.height(), 1, int(grey.bytesPerLine()));
        lib.setResolution(api, dpi);
        if (lib.recognize(api, nullptr) != 0)
            throw TextRecognitionError("Tesseract could not read the image");
        confidence = lib.meanConfidence(api);
        std::vector<TextLine> lines;
        TessResultIterator* it = lib.iterator(api);
        if (!it) return lines;
        const double w = grey.width(), h = grey.height();
        do {
            int left = 0, top = 0, right = 0, bottom = 0;
            if (!lib.boundingBox(lib.pageIterator(it), tesseract::RIL_TEXTLINE, &left, &top, &right, &bottom))
                continue;
            char* utf8 = lib.text(it, tesseract::RIL_TEXTLINE);
            const QString text = QString::fromUtf8(utf8).trimmed();
            lib.deleteText(utf8);
            if (text.isEmpty()) continue;
            lines.push_back({QRectF(left / w, 1 - bottom / h, (right - left) / w, (bottom - top) / h), text});
        } while (lib.next(it, tesseract::RIL_TEXTLINE));
        lib.deleteIterator(it);
        return lines;
    }
};

TesseractRecognizer::TesseractRecognizer() = default;
TesseractRecognizer::~TesseractRecognizer() = default;

TesseractRecognizer::Engine& TesseractRecognizer::engine(Level level) {
    std::unique_ptr<Engine>& slot = level == Level::fast ? m_fast : m_accurate;
    if (!slot) slot = std::make_unique<Engine>(Library::get(), level);
    return *slot;
}

std::vector<TextLine> TesseractRecognizer::recognize(const QImage& image, Level level) {
    if (image.width() < smallestSide || image.height() < smallestSide) return {};
    Engine& e = engine(level);
    if (level == Level::accurate) return e.read(image.convertToFormat(QImage::Format_Grayscale8), screenDpi);
    std::vector<TextLine> lines;
    for (const double scale : fastScales) {
        const QImage small = image.scaled(int(image.width() * scale), int(image.height() * scale),
                                          Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        if (small.width() < smallestSide || small.height() < smallestSide) continue;
        lines = e.read(small.convertToFormat(QImage::Format_Grayscale8), lowestDpi);
        if (e.confidence >= sureConfidence) break;
    }
    return lines;
}

} // namespace os
