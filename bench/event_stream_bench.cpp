#include "workspace/EventStreamParser.h"
#include "workspace/VantleEvents.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>

#include <benchmark/benchmark.h>

namespace {

// A recorded-like stream: a 20 KB answer as 2,000 deltas of ten characters, with keep-alives.
QByteArray answerStream(int deltas) {
    QByteArray out;
    int offset = 0;
    for (int i = 0; i < deltas; ++i) {
        const QString piece = QStringLiteral("Tööaeg %1 ").arg(i % 10, 2, 10, QLatin1Char('0')).left(10);
        const QJsonObject data{{"turnId", "turn-1"}, {"kind", "delta"}, {"text", piece}, {"offset", offset}};
        offset += static_cast<int>(piece.size());
        out += "id: " + QByteArray::number(i) +
               "\nevent: agent.progress\ndata: " + QJsonDocument(data).toJson(QJsonDocument::Compact) +
               "\n\n";
        if (i % 100 == 0) {
            out += ": keep-alive\n\n";
        }
    }
    return out;
}

void parserThroughput(benchmark::State& state) {
    const QByteArray stream = answerStream(2000);
    const qsizetype chunk = state.range(0);
    qsizetype events = 0;
    for (auto _ : state) {
        EventStreamParser parser;
        parser.onEvent = [&](const QString&, const QString&) { ++events; };
        for (qsizetype at = 0; at < stream.size(); at += chunk) {
            parser.feed(QByteArrayView(stream).sliced(at, std::min(chunk, stream.size() - at)));
        }
    }
    benchmark::DoNotOptimize(events);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * stream.size());
}
BENCHMARK(parserThroughput)->Arg(1024)->Arg(16 * 1024);

// One delta from bytes to the rebuilt answer text in the turn's listener.
void deltaEndToEnd(benchmark::State& state) {
    const QByteArray stream = answerStream(2000);
    auto& events = VantleEvents::shared();
    qsizetype seen = 0;
    for (auto _ : state) {
        events.turnListeners.insert("turn-1", {QString(), [&](const TurnProgress& p) {
                                                   seen += std::get<TurnProgress::Text>(p.value).text.size();
                                               }});
        EventStreamParser parser;
        parser.onEvent = [&](const QString& event, const QString& data) { events.dispatch(event, data); };
        parser.feed(stream);
    }
    events.turnListeners.clear();
    benchmark::DoNotOptimize(seen);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 2000);
}
BENCHMARK(deltaEndToEnd);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
