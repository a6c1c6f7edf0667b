// The tray panel's view with 200 to-dos, 10 cards and 20 projects: the view made for the first time, a
// rebuild of the menu as the app runs it (inputs → MenuBuilder::build → the model → the view, laid out), one
// where only the recording's clock moved (every second while recording), one where every to-do changed, a
// move of the keyboard selection, and a paint of the panel. References in the same run: the same rebuild with
// no view on the model, and laying out one plain QLabel per row, what a view that makes a widget per row
// would pay at each rebuild. Offscreen.
#include "CrowdedMenu.h"
#include "surfaces/popover/PopoverView.h"

#include <QApplication>
#include <QBoxLayout>
#include <QLabel>
#include <QSettings>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <memory>

namespace {

using In = MenuInputs;
using bench::crowded;

// A model and its view as the app holds them, shown off screen so that layouts run as they do on screen.
struct Panel {
    QTemporaryDir dir;
    QSettings store{dir.filePath(QStringLiteral("d.conf")), QSettings::IniFormat};
    MenuModel model{store};
    std::unique_ptr<PopoverView> view;

    void rebuild(const In& in) {
        bench::rebuild(model, in);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    }
    void open() {
        view = std::make_unique<PopoverView>(model);
        view->setAttribute(Qt::WA_DontShowOnScreen);
        view->show();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    }
};

void firstView(benchmark::State& state) {
    Panel panel;
    panel.rebuild(crowded(0));
    for (auto _ : state) {
        panel.open();
        benchmark::DoNotOptimize(panel.view->contentHeight());
    }
}

void rebuildClockTick(benchmark::State& state) {
    Panel panel;
    panel.rebuild(crowded(0));
    panel.open();
    In in = crowded(0);
    double elapsed = 0;
    for (auto _ : state) {
        in.rec = Rec::Recording{++elapsed, 10, 2, true};
        panel.rebuild(in);
    }
}

void rebuildEveryTodoChanged(benchmark::State& state) {
    Panel panel;
    const In a = crowded(1), b = crowded(2);
    panel.rebuild(a);
    panel.open();
    bool flip = false;
    for (auto _ : state)
        panel.rebuild((flip = !flip) ? b : a);
}

void selectionMove(benchmark::State& state) {
    Panel panel;
    panel.rebuild(crowded(0));
    panel.open();
    int step = 1;
    for (auto _ : state) {
        if (panel.model.selected() == panel.model.visibleOrder().last()) step = -1;
        if (panel.model.selected() == panel.model.visibleOrder().first()) step = 1;
        panel.model.move(step);
    }
}

void paint(benchmark::State& state) {
    Panel panel;
    panel.rebuild(crowded(0));
    panel.open();
    QImage image(panel.view->size(), QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        image.fill(Qt::transparent);
        panel.view->render(&image);
    }
}

// The same rebuild of the clock's tick with no view on the model.
void referenceRebuildWithoutView(benchmark::State& state) {
    Panel panel;
    In in = crowded(0);
    double elapsed = 0;
    for (auto _ : state) {
        in.rec = Rec::Recording{++elapsed, 10, 2, true};
        panel.rebuild(in);
    }
}

void referenceLabelPerRow(benchmark::State& state) {
    const BuiltMenu built = MenuBuilder::build(crowded(0));
    QStringList rows;
    for (const Group& group : built.state.groups)
        for (const TodoRow& row : group.items)
            rows << row.title;
    for (const Attn& card : built.state.attention)
        rows << card.title;
    for (const Proj& project : built.state.projects)
        rows << project.name;
    QWidget holder;
    holder.setAttribute(Qt::WA_DontShowOnScreen);
    holder.setFixedWidth(PopoverView::width);
    auto* column = new QVBoxLayout(&holder);
    holder.show();
    for (auto _ : state) {
        while (QLayoutItem* old = column->takeAt(0)) {
            delete old->widget();
            delete old;
        }
        for (const QString& text : rows)
            column->addWidget(new QLabel(text));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    }
    state.counters["rows"] = double(rows.size());
}

} // namespace

BENCHMARK(firstView)->Unit(benchmark::kMillisecond);
BENCHMARK(rebuildClockTick)->Unit(benchmark::kMicrosecond);
BENCHMARK(rebuildEveryTodoChanged)->Unit(benchmark::kMicrosecond);
BENCHMARK(selectionMove)->Unit(benchmark::kMicrosecond);
BENCHMARK(paint)->Unit(benchmark::kMicrosecond);
BENCHMARK(referenceRebuildWithoutView)->Unit(benchmark::kMicrosecond);
BENCHMARK(referenceLabelPerRow)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
