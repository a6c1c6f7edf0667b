#include "recording/OCR.h"

#include "core/Log.h"

#include <QStringList>
#include <algorithm>
#include <cmath>

OCR::OCR(RecognizerFactory makeRecognizer) : m_makeRecognizer(std::move(makeRecognizer)) {}
OCR::~OCR() = default;

os::TextRecognizer& OCR::recognizer() {
    const std::lock_guard lock(m_mutex);
    std::unique_ptr<os::TextRecognizer>& slot = m_recognizers[std::this_thread::get_id()];
    if (!slot) slot = m_makeRecognizer();
    return *slot;
}

void OCR::logOnce(const QString& error) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_loggedErrors.contains(error)) return;
        m_loggedErrors.insert(error);
    }
    slog(QStringLiteral("ocr: ") + error);
}

Reading OCR::read(const QImage& image, bool fast) {
    using Level = os::TextRecognizer::Level;
    try {
        return arrange(recognizer().recognize(image, fast ? Level::fast : Level::accurate));
    } catch (const os::TextRecognitionError& e) {
        logOnce(QString::fromUtf8(e.what()));
        return {};
    }
}

Reading OCR::arrange(std::vector<os::TextLine> lines) {
    // Boxes have their origin at the bottom left: a larger middle is higher on the screen.
    std::stable_sort(lines.begin(), lines.end(), [](const os::TextLine& a, const os::TextLine& b) {
        const double h = std::min(a.box.height(), b.box.height());
        const double ma = a.box.center().y(), mb = b.box.center().y();
        if (std::abs(ma - mb) > h / 2) return ma > mb;
        return a.box.left() < b.box.left();
    });

    QStringList strings;
    const os::TextLine* titleLine = nullptr;
    for (const os::TextLine& line : lines) {
        strings << line.text;
        const auto letters =
            std::count_if(line.text.begin(), line.text.end(), [](QChar c) { return c.isLetter(); });
        // Height, not position: a menu bar in small type above a slide's heading is no title.
        if (letters >= 4 && (!titleLine || line.box.height() > titleLine->box.height())) titleLine = &line;
    }
    Reading reading{clip(strings.join(QLatin1Char('\n')), maxChars), std::nullopt};
    if (titleLine) reading.title = clip(titleLine->text.trimmed(), titleLimit);
    return reading;
}

QString OCR::clip(const QString& s, qsizetype n) {
    // Characters, not UTF-16 units: a cut never splits a pair of surrogates.
    qsizetype units = 0;
    for (qsizetype count = 0; count < n && units < s.size(); ++count)
        units += s[units].isHighSurrogate() && units + 1 < s.size() ? 2 : 1;
    return units >= s.size() ? s : s.left(units);
}

QSet<QString> OCR::words(const QString& s) {
    QSet<QString> out;
    QString piece;
    const auto flush = [&] {
        if (piece.size() >= 2) out.insert(piece);
        piece.clear();
    };
    for (QChar c : s.toLower()) {
        if (c.isLetterOrNumber())
            piece += c;
        else
            flush();
    }
    flush();
    return out;
}

double OCR::similarity(const QString& a, const QString& b) {
    const QSet<QString> wa = words(a), wb = words(b);
    if (wa.isEmpty() && wb.isEmpty()) return 1.0;
    const qsizetype shared = QSet<QString>(wa).intersect(wb).size();
    return double(shared) / double(wa.size() + wb.size() - shared);
}

bool OCR::isNearDuplicate(const QString& text, const std::optional<QString>& last) {
    return last && similarity(text, *last) >= nearDuplicate;
}
