#pragma once

#include <QImage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QTest>
#include <cstdlib>
#include <memory>

// Pictures shown full screen on the test desktop's Wayland compositor by swayimg, a viewer of another
// program: the counterpart of ForeignWindow where no client may draw outside its own surface. Each picture is
// a viewer of its own; the one before closes first.
class WaylandViewer {
public:
    // The compositor's socket, from the test environment; empty when it runs none.
    static QString display() { return qEnvironmentVariable("ORVANE_TEST_WAYLAND_DISPLAY"); }

    ~WaylandViewer() { close(); }

    // Shows `image`; false when the viewer could not start or the screen did not show the picture's corner
    // within ten seconds.
    bool show(const QImage& image) {
        close();
        const QString path = m_dir.filePath(QStringLiteral("picture%1.png").arg(++m_shown));
        if (!image.save(path)) return false;
        m_viewer = std::make_unique<QProcess>();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("WAYLAND_DISPLAY"), display());
        environment.remove(QStringLiteral("DISPLAY"));
        m_viewer->setProcessEnvironment(environment);
        m_viewer->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_viewer->start(QStringLiteral("swayimg"),
                        {QStringLiteral("--fullscreen"), QStringLiteral("--scale=real"),
                         QStringLiteral("--no-sway"), path});
        if (!m_viewer->waitForStarted()) return false;
        // The viewer's own colour handling may move a channel by a step or two.
        const QRgb corner = image.pixel(8, 8);
        const auto near = [](int a, int b) { return std::abs(a - b) <= 4; };
        return QTest::qWaitFor(
            [&] {
                const QRgb shown = screenPixel(QPoint(8, 8));
                return near(qRed(shown), qRed(corner)) && near(qGreen(shown), qGreen(corner)) &&
                       near(qBlue(shown), qBlue(corner));
            },
            10000);
    }

    // A pixel of the screen as the compositor shows it, read with grim; black when it cannot be read.
    static QRgb screenPixel(QPoint at) {
        QProcess grim;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("WAYLAND_DISPLAY"), display());
        grim.setProcessEnvironment(environment);
        grim.start(QStringLiteral("grim"),
                   {QStringLiteral("-g"), QStringLiteral("%1,%2 1x1").arg(at.x()).arg(at.y()),
                    QStringLiteral("-t"), QStringLiteral("ppm"), QStringLiteral("-")});
        grim.waitForFinished();
        const QImage pixel = QImage::fromData(grim.readAllStandardOutput(), "PPM");
        return pixel.isNull() ? 0 : pixel.pixel(0, 0) & 0xffffff;
    }

private:
    void close() {
        if (!m_viewer) return;
        m_viewer->terminate();
        m_viewer->waitForFinished(5000);
        m_viewer.reset();
    }

    QTemporaryDir m_dir;
    std::unique_ptr<QProcess> m_viewer;
    int m_shown = 0;
};
