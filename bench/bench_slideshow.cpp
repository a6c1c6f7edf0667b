// What a recording sees on the screen: slides of text shown full-screen by a program of their own, for
// bench/recorder.sh. The frame stream paints out the recording process's own windows, so the slides come from
// another process.
//   bench_slideshow SECONDS_PER_SLIDE   0 shows the first slide and keeps it

#include "support/Slides.h"

#include <QGuiApplication>
#include <QPaintEvent>
#include <QRasterWindow>
#include <QTimer>
#include <cstdio>
#include <cstdlib>

namespace {

// Six slides of a talk, each with its own title, so that every change is a new slide to the recorder.
std::vector<std::vector<Slides::Line>> talk() {
    const auto slide = [](const QString& title, const QStringList& points) {
        std::vector<Slides::Line> lines{{title, 56}};
        for (const QString& point : points)
            lines.push_back({QStringLiteral("• ") + point, 32});
        return lines;
    };
    return {
        slide(QStringLiteral("Quarterly operations review"),
              {QStringLiteral("Support volume fell by a fifth"), QStringLiteral("Billing migration finished late"),
               QStringLiteral("Two offers out for the data team")}),
        slide(QStringLiteral("Customer requests"),
              {QStringLiteral("Single sign-on before renewal"), QStringLiteral("Exports in spreadsheet form"),
               QStringLiteral("Audit log kept for a year")}),
        slide(QStringLiteral("Search latency"),
              {QStringLiteral("Median 140 ms, 95th percentile 410 ms"), QStringLiteral("Index rebuilt nightly"),
               QStringLiteral("Cache hit rate up to 72 percent")}),
        slide(QStringLiteral("Hiring plan"),
              {QStringLiteral("Four engineers by March"), QStringLiteral("One designer for the mobile app"),
               QStringLiteral("Interview loop cut to three rounds")}),
        slide(QStringLiteral("Budget for next year"),
              {QStringLiteral("Hosting costs flat despite growth"), QStringLiteral("Travel halved"),
               QStringLiteral("Training doubled for new managers")}),
        slide(QStringLiteral("Open questions"),
              {QStringLiteral("Who owns the on-call rota?"), QStringLiteral("When does the old API retire?"),
               QStringLiteral("Which regions launch first?")}),
    };
}

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
    if (const double seconds = std::atof(argv[1]); seconds > 0)
        turn.start(int(seconds * 1000));
    return app.exec();
}
