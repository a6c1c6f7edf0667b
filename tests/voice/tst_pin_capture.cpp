#include "RequiredServices.h"
#include "os/linux/Backends.h"
#include "support/Rows.h"
#include "voice/NoteDialog.h"
#include "voice/PinCapture.h"
#include "voice/RegionPicker.h"
#include "voice/ScreenGrab.h"

#include <QApplication>
#include <QBuffer>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QTest>
#include <QThread>

using namespace Qt::Literals::StringLiterals;
using testsupport::row;

namespace {
bool haveDisplayAndXdotool() {
    return QGuiApplication::platformName() == QLatin1String("xcb") &&
           !QStandardPaths::findExecutable("xdotool").isEmpty();
}

void xdotool(const QStringList& arguments) {
    QProcess tool;
    tool.start(u"xdotool"_s, arguments);
    QVERIFY(tool.waitForFinished(10000));
    QCOMPARE(tool.exitCode(), 0);
}

QImage decoded(const QByteArray& jpeg) {
    QBuffer buffer(const_cast<QByteArray*>(&jpeg));
    return QImageReader(&buffer, "jpeg").read();
}

// The picker's overlays, once all of them are on screen.
QList<QWidget*> shownOverlays() {
    QList<QWidget*> out;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (qobject_cast<RegionOverlay*>(w) && w->isVisible()) out << w;
    return out;
}

struct Answer {
    bool answered = false;
    std::optional<QByteArray> jpeg;
};
} // namespace

class TestPinCapture : public QObject {
    Q_OBJECT

    // Starts the picker and waits until its overlay is exposed and holds the keyboard.
    void startPicker(Answer& answer) {
        PinCapture::selectRegion([&answer](std::optional<QByteArray> jpeg) {
            answer.answered = true;
            answer.jpeg = std::move(jpeg);
        });
        QTRY_VERIFY(!shownOverlays().isEmpty());
        QVERIFY(QTest::qWaitForWindowExposed(shownOverlays().first()));
        QTRY_VERIFY(QWidget::keyboardGrabber()); // taken at the first paint
    }

private slots:
    void init() { REQUIRE_SERVICE(haveDisplayAndXdotool(), "an X server with xdotool"); }

    void aDragGivesThatRegion() {
        Answer answer;
        startPicker(answer);
        // A drag across a fifth of the screen, whatever its size.
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        const QPoint from = screen.topLeft() + QPoint(screen.width() / 10, screen.height() / 10);
        const QPoint to = from + QPoint(screen.width() / 5, screen.height() / 5);
        const auto at = [](QPoint p) {
            return QStringList{"mousemove", QString::number(p.x()), QString::number(p.y())};
        };
        xdotool(at(from) + QStringList{"mousedown", "1"} + at((from + to) / 2) + at(to) +
                QStringList{"mouseup", "1"});
        QTRY_VERIFY(answer.answered);
        QVERIFY(answer.jpeg);
        QCOMPARE(decoded(*answer.jpeg).size(), QSize(to.x() - from.x(), to.y() - from.y()));
        QTRY_VERIFY(shownOverlays().isEmpty());
    }

    void cancelGivesNothing_data() {
        QTest::addColumn<QStringList>("input");
        row("Esc", QStringList{"key", "Escape"});
        // From the centre of the screen, whatever its size.
        const QStringList centre{"mousemove", "--polar", "0", "0"};
        row("a click without a drag", centre + QStringList{"click", "1"});
        row("Esc in the middle of a drag", centre + QStringList{"mousedown", "1", "mousemove_relative", "--",
                                                                "60", "40", "key", "Escape", "mouseup", "1"});
    }

    void cancelGivesNothing() {
        QFETCH(QStringList, input);
        Answer answer;
        startPicker(answer);
        xdotool(input);
        QTRY_VERIFY(answer.answered);
        QVERIFY(!answer.jpeg);
        QTRY_VERIFY(shownOverlays().isEmpty());
    }

    void theNoteDialog_data() {
        QTest::addColumn<bool>("recording");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("info");
        QTest::addColumn<bool>("cancel");
        const QString waits =
            u"What should the team notice here? The pin waits in the menu until you send your pins "
            u"to the board."_s;
        row("during a recording", true, u"Pin to this session"_s, u"What should the team notice here?"_s,
            false);
        row("outside a recording", false, u"New pin"_s, waits, false);
        row("Cancel gives nothing", false, u"New pin"_s, waits, true);
    }

    void theNoteDialog() {
        QFETCH(bool, recording);
        QFETCH(QString, title);
        QFETCH(QString, info);
        QFETCH(bool, cancel);
        QImage picture(400, 300, QImage::Format_RGB32);
        picture.fill(Qt::darkGreen);
        bool answered = false;
        std::optional<QString> note;
        PinCapture::askNote(picture, recording, {}, [&](std::optional<QString> given) {
            answered = true;
            note = std::move(given);
        });
        // The question does not wait for its answer.
        QVERIFY(!answered);
        QPointer dialog = qobject_cast<NoteDialog*>(QApplication::activeModalWidget());
        QVERIFY(dialog);
        QVERIFY(QTest::qWaitForWindowActive(dialog));
        QCOMPARE(dialog->windowTitle(), title);
        QStringList texts;
        for (QLabel* label : dialog->findChildren<QLabel*>())
            texts << label->text();
        QVERIFY(texts.contains(title) && texts.contains(info));
        auto* field = qobject_cast<QLineEdit*>(QApplication::focusWidget());
        QVERIFY(field);
        QTest::keyClicks(field, u"  annual plan first  "_s);
        for (QPushButton* button : dialog->findChildren<QPushButton*>())
            if (cancel && button->text() == QLatin1String("Cancel")) button->click();
        if (!cancel) QTest::keyClick(field, Qt::Key_Return); // "Pin" is the default button
        QVERIFY(answered);
        QCOMPARE(note, cancel ? std::nullopt : std::optional(u"annual plan first"_s));
        QTRY_VERIFY(!dialog);
    }

    // A spoken screenshot: the answer comes on the main thread, narrowed to the pins' width, and a window of
    // ours (the pill that heard the command) is painted out of it.
    void theMainDisplayArrivesOnTheMainThreadWithoutOurWindows() {
        QWidget ours(nullptr, Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
        ours.setStyleSheet(u"background: #ff00ff"_s);
        ours.setAutoFillBackground(true);
        const QRect screen = QApplication::primaryScreen()->geometry();
        ours.setGeometry(screen.center().x() - 100, screen.center().y() - 100, 200, 200);
        ours.show();
        QVERIFY(QTest::qWaitForWindowExposed(&ours));
        // Beside the centre, where the pointer may rest.
        const auto magentaInTheMiddle = [&](const QImage& image) {
            const double scale = double(image.width()) / screen.width();
            const QColor seen = image.pixelColor(QPointF(screen.center() - QPoint(60, 60)).toPoint() * scale);
            return seen.red() > 200 && seen.green() < 60 && seen.blue() > 200;
        };
        // The window is on the screen that a plain grab reads.
        QTRY_VERIFY(magentaInTheMiddle(QApplication::primaryScreen()->grabWindow(0).toImage()));

        ScreenGrab grab([] { return os::linux_backends::grabPrimaryWithoutOwnWindows(false); });
        Answer answer;
        QThread* thread = nullptr;
        grab.mainDisplay([&](std::optional<QByteArray> jpeg) {
            thread = QThread::currentThread();
            answer.answered = true;
            answer.jpeg = std::move(jpeg);
        });
        QTRY_VERIFY(answer.answered);
        QCOMPARE(thread, QThread::currentThread());
        QVERIFY(answer.jpeg);
        const QImage image = decoded(*answer.jpeg);
        QCOMPARE(image.width(), qMin(PinCapture::jpegMaxWidth, screen.width()));
        QVERIFY(!magentaInTheMiddle(image));
    }
};

int main(int argc, char** argv) {
    // Without an X server the test still starts, and says what it misses.
    if (qEnvironmentVariableIsEmpty("DISPLAY")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    TestPinCapture test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_pin_capture.moc"
