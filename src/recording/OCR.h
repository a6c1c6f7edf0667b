#pragma once

#include "os/TextRecognizer.h"

#include <QImage>
#include <QSet>
#include <QString>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>
#include <vector>

// What a frame says: its lines in reading order, and the tallest line as its title.
struct Reading {
    QString text;
    std::optional<QString> title;

    bool operator==(const Reading&) const = default;
};

// Text recognition of frames and the similarity of texts. Each thread that reads gets a recogniser of its
// own, made on its first read, so models load only when text is first read and never at start.
class OCR {
public:
    using RecognizerFactory = std::function<std::unique_ptr<os::TextRecognizer>()>;

    static constexpr qsizetype maxChars = 2000;
    static constexpr double nearDuplicate = 0.85;
    static constexpr qsizetype titleLimit = 100;

    explicit OCR(RecognizerFactory makeRecognizer);
    ~OCR();

    // A failure of the recogniser is logged ("ocr: ...", each distinct error once) and reads as no text.
    Reading read(const QImage& image, bool fast = false);
    QString text(const QImage& image, bool fast = false) { return read(image, fast).text; }

    // Lines put in reading order, joined and cut, with the title line picked.
    static Reading arrange(std::vector<os::TextLine> lines);
    static QString clip(const QString& s, qsizetype n);
    static QSet<QString> words(const QString& s);
    // Jaccard index of the word sets; two texts without words are alike (1.0).
    static double similarity(const QString& a, const QString& b);
    static bool isNearDuplicate(const QString& text, const std::optional<QString>& last);

private:
    os::TextRecognizer& recognizer();
    void logOnce(const QString& error);

    RecognizerFactory m_makeRecognizer;
    std::mutex m_mutex;
    std::unordered_map<std::thread::id, std::unique_ptr<os::TextRecognizer>> m_recognizers;
    QSet<QString> m_loggedErrors;
};
