// The cost of one look of the figure's window at the pointer when nothing has moved, which is
// what an idle figure does 15 times a second.

#include "character/CharacterWindow.h"
#include "platform/Services.h"

#include <QApplication>

#include <benchmark/benchmark.h>

namespace {

class StillPointer final : public platform::Pointer {
public:
    QPoint position() override { return {10, 10}; }
    Qt::MouseButtons buttons() override { return Qt::NoButton; }
};

void lookWith(benchmark::State& state, platform::Services services) {
    platform::install(std::move(services));
    CharacterWindow window;
    window.hasPixel = [](QPointF) { return true; };
    window.setGeometry(400, 300, 120, 120);
    window.show();
    QApplication::processEvents();
    window.look(); // the first look tests; the rest find nothing moved
    for (auto _ : state) {
        window.look();
    }
    window.hide();
    platform::install({});
}

// The logic alone, with a pointer that answers at once.
void lookStill(benchmark::State& state) {
    platform::Services services;
    services.pointer = std::make_shared<StillPointer>();
    lookWith(state, std::move(services));
}

// The program's own look. With no input event since the last answer the pointer answers from
// memory, and asks the X server (one QueryPointer round trip) once in eight looks in case of a
// warp; the mean includes those questions.
void lookStillOnX11(benchmark::State& state) {
    auto services = platform::systemServices();
    if (!services.pointer) {
        state.SkipWithError("not on X11");
        return;
    }
    lookWith(state, std::move(services));
}

} // namespace

BENCHMARK(lookStill);
BENCHMARK(lookStillOnX11);

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
