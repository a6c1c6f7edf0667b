// What a recording sees on the screen: slides of text shown full-screen by a program of their own, for
// bench/recorder.sh. The frame stream paints out the recording process's own windows, so the slides come from
// another process.
//   bench_slideshow SECONDS_PER_SLIDE   0 shows the first slide and keeps it

#include "Talk.h"

#include <QGuiApplication>
#include <QPaintEvent>
#include <QRasterWindow>
#include <QTimer>
#include <cstdio>
#include <cstdlib>

namespace {

class SlideWindow : public QRasterWindow {
public:
    explicit SlideWindow(std::vector<std::vector<Slides::Line>> slides) : m_slides(std::move(slides)) {}

    void next() {
        m_index = (m_index + 1) % m_slides.size();
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.drawImage(0, 0, Slides::draw(m_slides[m_index], size()));
    }

private:
    std::vector<std::vector<Slides::Line>> m_slides;
    size_t m_index = 0;
};

} // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    if (argc != 2 || std::atof(argv[1]) < 0) {
        std::fprintf(stderr, "usage: bench_slideshow SECONDS_PER_SLIDE\n");
        return 2;
    }
    SlideWindow window(talk());
    window.showFullScreen();
    QTimer turn;
    QObject::connect(&turn, &QTimer::timeout, &window, &SlideWindow::next);
    if (const double seconds = std::atof(argv[1]); seconds > 0) turn.start(int(seconds * 1000));
    return app.exec();
}
