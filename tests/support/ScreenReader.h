#pragma once

#include "os/linux/TesseractRecognizer.h"
#include "support/Program.h"

#include <QGuiApplication>
#include <QImage>
#include <QMap>
#include <QScreen>
#include <QTest>
#include <functional>
#include <optional>

namespace testsupport {

using namespace Qt::Literals::StringLiterals;

// Letters and digits only, in lower case: what reading a screen gets right of a text.
inline QString gist(const QString& text) {
    QString g;
    for (const QChar c : text)
        if (c.isLetterOrNumber()) g.append(c.toLower());
    return g;
}

// Windows of one process as a user sees them: where they are and what they read, through the screen. A
// window's pixels are cut into runs of words the way a reader sees them, rows of ink and, in a row, groups
// that stand apart (the labels of buttons in a row), and each run is read on its own: Tesseract's own layout
// analysis leaves out a label that stands alone at a panel's edge.
class ScreenReader {
public:
    struct Words {
        QRect box; // in screen coordinates
        QString gist;
    };
    struct Window {
        QString id;
        QRect frame;
        QList<Words> words;

        // Across runs too: a long title wraps.
        bool reads(const QString& text) const {
            QString all;
            for (const Words& w : words)
                all += w.gist;
            return all.contains(gist(text));
        }
        // The middle of the run that reads exactly `label`.
        std::optional<QPoint> place(const QString& label) const {
            for (const Words& w : words)
                if (w.gist == gist(label)) return w.box.center();
            return std::nullopt;
        }
    };

    explicit ScreenReader(qint64 pid) : m_pid(pid) {}

    QList<Window> windows() {
        QList<Window> shown;
        const std::optional<QByteArray> ids =
            run(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--pid"_s, QString::number(m_pid)});
        for (const QByteArray& id : ids.value_or(QByteArray()).split('\n'))
            if (!id.trimmed().isEmpty()) shown.append(read(QString::fromLatin1(id.trimmed())));
        return shown;
    }
    // The first window that reads `text` and passes `also`, waiting for one until the deadline.
    std::optional<Window> waitFor(const QString& text, int ms,
                                  const std::function<bool(const Window&)>& also = {}) {
        std::optional<Window> found;
        const bool seen = QTest::qWaitFor(
            [&] {
                for (const Window& w : windows())
                    if (w.reads(text) && (!also || also(w))) found = w;
                return found.has_value();
            },
            ms);
        return seen ? found : std::nullopt;
    }
    // What the windows read, for a failure's message.
    QString seen() {
        QStringList all;
        for (const Window& w : windows()) {
            QStringList words;
            for (const Words& run : w.words)
                words.append(run.gist);
            all.append(u"window %1 at %2,%3: %4"_s.arg(w.id)
                           .arg(w.frame.x())
                           .arg(w.frame.y())
                           .arg(words.join(u" / "_s)));
        }
        return all.join(u"\n"_s);
    }

private:
    static constexpr int scale = 3; // the small type of panels reads surely only enlarged
    static constexpr int margin = 8;

    Window read(const QString& id) {
        Window w{id, {}, {}};
        const std::optional<QByteArray> shell = run(u"xdotool"_s, {u"getwindowgeometry"_s, u"--shell"_s, id});
        QMap<QByteArray, int> g;
        for (const QByteArray& line : shell.value_or(QByteArray()).split('\n'))
            if (const qsizetype eq = line.indexOf('='); eq > 0) g[line.left(eq)] = line.mid(eq + 1).toInt();
        QScreen* screen = QGuiApplication::primaryScreen();
        w.frame = QRect(g["X"], g["Y"], g["WIDTH"], g["HEIGHT"]) & screen->geometry();
        if (w.frame.isEmpty()) return w;
        const QImage pixels =
            screen->grabWindow(0, w.frame.x(), w.frame.y(), w.frame.width(), w.frame.height()).toImage();
        const QImage ink =
            binarized(pixels.scaled(pixels.size() * scale, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
        for (const QRect& row : runs(ink, ink.rect(), Qt::Vertical))
            for (const QRect& group : runs(ink, row, Qt::Horizontal)) {
                QString text;
                const QImage part = ink.copy(group.adjusted(-margin, -margin, margin, margin));
                for (const os::TextLine& line : m_ocr.recognize(part, os::TextRecognizer::Level::accurate))
                    text += gist(line.text);
                if (!text.isEmpty())
                    w.words.append(
                        {QRect(w.frame.topLeft() + group.topLeft() / scale, group.size() / scale), text});
            }
        return w;
    }
    // Dark text on a light ground, whichever palette the panels use; the dark desktop round a panel's
    // corners is ground too.
    static QImage binarized(const QImage& image) {
        QImage grey = image.convertToFormat(QImage::Format_Grayscale8);
        qint64 sum = 0;
        for (int y = 0; y < grey.height(); ++y)
            for (int x = 0; x < grey.width(); ++x)
                sum += grey.constScanLine(y)[x];
        const bool darkGround = sum < qint64(grey.width()) * grey.height() * 128;
        for (int y = 0; y < grey.height(); ++y) {
            uchar* row = grey.scanLine(y);
            for (int x = 0; x < grey.width(); ++x)
                row[x] = ((row[x] < 160) != darkGround) ? 0 : 255;
        }
        QList<QPoint> edge;
        for (int x = 0; x < grey.width(); ++x)
            edge << QPoint(x, 0) << QPoint(x, grey.height() - 1);
        for (int y = 0; y < grey.height(); ++y)
            edge << QPoint(0, y) << QPoint(grey.width() - 1, y);
        while (!edge.isEmpty()) {
            const QPoint p = edge.takeLast();
            if (!grey.rect().contains(p) || grey.constScanLine(p.y())[p.x()] != 0) continue;
            grey.scanLine(p.y())[p.x()] = 255;
            edge << p + QPoint(1, 0) << p - QPoint(1, 0) << p + QPoint(0, 1) << p - QPoint(0, 1);
        }
        return grey;
    }
    // The parts of `area` that hold ink, cut across `direction`: rows of text at any blank scan line, and in
    // a row, groups where the ink pauses longer than the row is high (buttons in a row stand that far apart,
    // the words of one label closer). Specks too small to be a letter are left out.
    static QList<QRect> runs(const QImage& ink, const QRect& area, Qt::Orientation direction) {
        const bool rows = direction == Qt::Vertical;
        const int from = rows ? area.top() : area.left(), to = rows ? area.bottom() : area.right();
        const int pause = rows ? 1 : area.height();
        const auto inked = [&](int at) {
            for (int across = rows ? area.left() : area.top();
                 across <= (rows ? area.right() : area.bottom()); ++across)
                if ((rows ? ink.constScanLine(at)[across] : ink.constScanLine(across)[at]) == 0) return true;
            return false;
        };
        QList<QRect> found;
        int start = -1, last = -1;
        for (int at = from; at <= to + pause; ++at) {
            if (at <= to && inked(at)) {
                if (start < 0) start = at;
                last = at;
            } else if (start >= 0 && (at > to || at - last >= pause)) {
                const QRect part = rows ? QRect(area.left(), start, area.width(), last - start + 1)
                                        : QRect(start, area.top(), last - start + 1, area.height());
                if (last - start >= 3 * scale || !rows) found.append(part);
                start = -1;
            }
        }
        return found;
    }

    qint64 m_pid;
    os::TesseractRecognizer m_ocr;
};

// Clicks where a user would, once the pointer is there.
inline bool click(QPoint at) {
    return run(u"xdotool"_s, {u"mousemove"_s, u"--sync"_s, QString::number(at.x()), QString::number(at.y()),
                              u"click"_s, u"1"_s})
        .has_value();
}

// The X window that has the keyboard, as xdotool names it.
inline QString activeWindow() {
    return QString::fromLatin1(run(u"xdotool"_s, {u"getactivewindow"_s}).value_or(QByteArray()).trimmed());
}

} // namespace testsupport
