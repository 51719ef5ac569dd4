// The cost of drawing one cell of a real character, as the figure does at each step of an
// animation: at Normal size, at Double size (both magnified by whole numbers, hard edges), and
// at one and a half (filtered). Steps stand at least tens of milliseconds, and a frame at 60 Hz
// is 16.7 ms: a cell must cost far less than that. With each cell the window's input region
// changes too: finding the cell's visible pixels is measured beside the drawing.

#include "character/CharacterSheet.h"
#include "character/CharacterView.h"

#include <QApplication>
#include <QImage>

#include <benchmark/benchmark.h>

namespace {

void drawCell(benchmark::State& state) {
    const auto sheet = CharacterSheet::named(QStringLiteral("dorn"));
    if (!sheet) {
        state.SkipWithError("the character did not load");
        return;
    }
    const int size = static_cast<int>(sheet->definition.width * static_cast<double>(state.range(0)) / 2);
    CharacterView view;
    view.resize(size, size);
    view.setSheet(sheet);
    QImage surface(size, size, QImage::Format_ARGB32_Premultiplied);
    const int cells = sheet->definition.columns * sheet->definition.rows;
    int cell = 0;
    for (auto _ : state) {
        view.setCell(cell);
        cell = (cell + 1) % cells;
        surface.fill(Qt::transparent);
        view.render(&surface);
    }
}

void cellRegion(benchmark::State& state) {
    const auto sheet = CharacterSheet::named(QStringLiteral("dorn"));
    if (!sheet) {
        state.SkipWithError("the character did not load");
        return;
    }
    const int size = static_cast<int>(sheet->definition.width * static_cast<double>(state.range(0)) / 2);
    const int cells = sheet->definition.columns * sheet->definition.rows;
    int cell = 0;
    qint64 rectangles = 0;
    for (auto _ : state) {
        const QRegion region = sheet->opaqueRegion(cell, QSize(size, size));
        rectangles += region.rectCount();
        benchmark::DoNotOptimize(region);
        cell = (cell + 1) % cells;
    }
    state.counters["rectangles"] =
        benchmark::Counter(static_cast<double>(rectangles), benchmark::Counter::kAvgIterations);
}

} // namespace

// The argument is the size in halves: 2 Normal, 3 one and a half, 4 Double.
BENCHMARK(drawCell)->Arg(2)->Arg(3)->Arg(4)->Unit(benchmark::kMicrosecond);
BENCHMARK(cellRegion)->Arg(2)->Arg(3)->Arg(4)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
