#include "RequiredServices.h"
#include "os/linux/TesseractRecognizer.h"
#include "support/LocalPlatform.h"
#include "support/Program.h"

#include <QFile>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Qt::Literals::StringLiterals;
using testsupport::run;

namespace {

// Letters and digits only, in lower case: what reading a screen gets right of a text.
QString gist(const QString& text) {
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

bool click(QPoint at) {
    return run(u"xdotool"_s, {u"mousemove"_s, u"--sync"_s, QString::number(at.x()), QString::number(at.y()),
                              u"click"_s, u"1"_s})
        .has_value();
}

QString activeWindow() {
    return QString::fromLatin1(run(u"xdotool"_s, {u"getactivewindow"_s}).value_or(QByteArray()).trimmed());
}

} // namespace

// The road a user takes, with the built program on a real desktop: a call starts in a browser, Orvane offers
// to tune in, records with its panel up, is wrapped up from the panel, asks where the recording goes, sends
// it to the local platform and tells when its review is ready.
class TestCallToReview : public QObject {
    Q_OBJECT
    QTemporaryDir m_home;

    QString log() const {
        QFile file(m_home.filePath(u"support/orvane.log"_s));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    std::optional<QRegularExpressionMatch> waitForLog(const QString& pattern, int ms = 20000) const {
        const QRegularExpression re(pattern);
        QRegularExpressionMatch match;
        if (!QTest::qWaitFor([&] { return (match = re.match(log())).hasMatch(); }, ms)) return std::nullopt;
        return match;
    }

private slots:
    void initTestCase() {
        REQUIRE_SERVICE(!qEnvironmentVariableIsEmpty("DISPLAY"), "an X server");
        REQUIRE_SERVICE(soundServerRuns(), "PulseAudio");
    }

    void aCallInTheBrowserEndsInAReview() {
        LocalPlatform platform;
        QVERIFY2(platform.isRunning(), qPrintable(platform.error()));
        // A fresh user of this platform: its address in the settings, nothing else.
        const QString config = m_home.filePath(u"config"_s);
        QFile settings(config + u"/Orvane/orvane.conf"_s);
        QVERIFY(QDir().mkpath(config + u"/Orvane"_s) && settings.open(QIODevice::WriteOnly));
        settings.write("[General]\nplatformBase=" + platform.base().toUtf8() + '\n');
        settings.close();

        QProcess orvane;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"ORVANE_SUPPORT_DIR"_s, m_home.filePath(u"support"_s));
        env.insert(u"XDG_CONFIG_HOME"_s, config);
        env.remove(u"ORVANE_DEFAULTS_SUITE"_s);
        env.insert(u"ORVANE_NO_BROWSER"_s, u"1"_s);
        // Only the click decides where the recording goes: the question does not time out meanwhile.
        env.insert(u"ORVANE_ASK_SECONDS"_s, u"3600"_s);
        orvane.setProcessEnvironment(env);
        orvane.setProcessChannelMode(QProcess::ForwardedChannels);
        orvane.start(QStringLiteral(ORVANE_BINARY), {u"--sign-in"_s});
        QVERIFY(orvane.waitForStarted());
        const auto code = waitForLog(u"sign-in: code (\\S+) via"_s);
        QVERIFY2(code, qPrintable(log()));
        QVERIFY(platform.approve(code->captured(1)));
        QVERIFY2(waitForLog(u"me: dev@orvane\\.test, projects "_s), qPrintable(log()));

        // The call: a browser's Meet window in front, and a helper holding the microphone.
        const QString title = u"Meet - abc-defg-hij - Google Chrome"_s;
        const auto browser = testsupport::tkWindow(QStringLiteral(ORVANE_TESTS_DIR "/workday/tk_window.py"),
                                                   u"google-chrome"_s, title);
        QVERIFY(browser->waitFor("window"));
        const std::optional<QByteArray> found =
            run(u"xdotool"_s, {u"search"_s, u"--sync"_s, u"--onlyvisible"_s, u"--name"_s, u"^Meet - abc"_s});
        QVERIFY(found);
        const QString meet = QString::fromLatin1(found->split('\n').first());
        QVERIFY(QTest::qWaitFor(
            [&] {
                return run(u"xdotool"_s, {u"windowactivate"_s, meet}) && activeWindow() == meet;
            },
            10000));
        auto helper = std::make_unique<testsupport::Program>(
            u"parec"_s, QStringList{u"-d"_s, u"orvane_mic"_s, u"--raw"_s, u"/dev/null"_s});

        ScreenReader screen(orvane.processId());
        const auto offer = screen.waitFor(u"Call in Google Meet \u2014 tune in?"_s, 30000);
        QVERIFY2(offer, qPrintable(log()));
        QVERIFY(log().contains(u"call detected: Google Meet \u201c%1\u201d"_s.arg(title)));
        const std::optional<QPoint> tuneIn = offer->place(u"Tune in"_s);
        QVERIFY(tuneIn);
        QVERIFY(click(*tuneIn));

        // The panel comes up beside the call's note, and the call's window keeps the focus.
        QVERIFY2(waitForLog(u"recording started: "_s), qPrintable(log()));
        QVERIFY2(screen.waitFor(u"Orvane active on your Google Meet call"_s, 20000),
                 qPrintable(screen.seen()));
        const auto notCall = [](const ScreenReader::Window& w) { return !w.reads(u"call"_s); };
        QVERIFY(screen.waitFor(u"Orvane active"_s, 20000, notCall));
        QCOMPARE(activeWindow(), meet);

        // The helper lets go of the microphone: nobody else talks, and Orvane asks after 20 s.
        helper.reset();
        QVERIFY2(screen.waitFor(u"Call ended \u2014 wrap up?"_s, 40000), qPrintable(log()));
        const auto pill = screen.waitFor(u"Orvane active"_s, 5000, notCall);
        QVERIFY(pill);
        QVERIFY(click(pill->frame.center()));
        const auto card = screen.waitFor(u"Wrap up"_s, 10000,
                                         [&](const ScreenReader::Window& w) { return w.id == pill->id; });
        QVERIFY2(card, qPrintable(screen.seen()));
        const std::optional<QPoint> wrapUp = card->place(u"Wrap up"_s);
        QVERIFY(wrapUp);
        QVERIFY(click(*wrapUp));

        const auto question = screen.waitFor(u"Where does this go?"_s, 60000);
        QVERIFY2(question, qPrintable(log()));
        const std::optional<QPoint> personal = question->place(u"Personal (private)"_s);
        QVERIFY(personal);
        QVERIFY(click(*personal));

        QVERIFY2(waitForLog(u"uploaded abc-defg-hij -> "_s, 30000), qPrintable(log()));
        const QJsonArray calls = platform.calls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls[0][u"title"_s].toString(), u"abc-defg-hij"_s);
        QCOMPARE(calls[0][u"scope"_s].toString(), u"personal:1"_s);
        QVERIFY(calls[0][u"audio_bytes"_s].toInt() > 0);

        // The review is polled every 30 s.
        QVERIFY2(screen.waitFor(u"Review ready \u2014 abc-defg-hij"_s, 60000), qPrintable(log()));

        orvane.terminate();
        QVERIFY(orvane.waitForFinished(20000));
        QCOMPARE(orvane.exitCode(), 0);
    }
};

QTEST_MAIN(TestCallToReview)
#include "tst_call_to_review.moc"
