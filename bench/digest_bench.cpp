#include "activity/Digest.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

#include <random>

namespace {

// A busy day of 5,000 spans: 25 applications, a few favourites used far more than the rest,
// about a dozen window titles in each, switches every few seconds to two minutes.
QList<ActivitySpan> busyDay(const QDate& day) {
    std::mt19937 random(18);
    std::geometric_distribution<int> app(0.15);
    std::uniform_int_distribution<int> title(1, 12);
    std::uniform_int_distribution<int> seconds(2, 120);
    QList<ActivitySpan> spans;
    // As the day log gives them back: in UTC.
    QDateTime at = QDateTime(day, QTime(7, 30)).toUTC();
    for (int i = 0; i < 5000; ++i) {
        const int which = std::min(app(random), 24);
        const QDateTime end = at.addSecs(seconds(random));
        spans.append(
            ActivitySpan{at, end, QStringLiteral("Application %1").arg(which),
                         QStringLiteral("org.example.app%1").arg(which),
                         QStringLiteral("Document %1 — Application %2").arg(title(random)).arg(which)});
        at = end;
    }
    return spans;
}

void digestOfABusyDay(benchmark::State& state) {
    const QDate day(2026, 11, 18);
    const QList<ActivitySpan> spans = busyDay(day);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Digest::make(day, spans));
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * spans.size());
}
BENCHMARK(digestOfABusyDay)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
