#include "app/Settings.h"
#include "chat/ChatSession.h"
#include "stage/BalloonPanel.h"
#include "stage/BalloonView.h"
#include "workspace/EventStreamParser.h"
#include "workspace/VantleEvents.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

namespace {

// One scripted turn of 2,000 deltas that build a 20 KB answer, fed through the whole road the
// main thread takes per event: bytes to the parser, dispatch to the turn's listener, the
// session's cleaning of the whole text so far, and the balloon's update. Reports the median and
// the 99th percentile of one event.
void turnOnTheMainThread(benchmark::State& state) {
    std::vector<QByteArray> events;
    int offset = 0;
    for (int i = 0; i < 2000; ++i) {
        const QString piece = (i % 40 == 39) ? QStringLiteral("[link](/x/%1)\n").arg(i).left(10)
                                             : QStringLiteral("Tööpäev %1 ").arg(i % 10).left(10);
        const QJsonObject data{{"turnId", "turn-1"}, {"kind", "delta"}, {"text", piece}, {"offset", offset}};
        offset += static_cast<int>(piece.size());
        events.push_back(
            "event: agent.progress\ndata: " + QJsonDocument(data).toJson(QJsonDocument::Compact) + "\n\n");
    }
    BalloonPanel panel;
    panel.show();
    auto& listeners = VantleEvents::shared().turnListeners;
    std::vector<double> micros;
    for (auto _ : state) {
        micros.clear();
        listeners.insert("turn-1",
                         {QString(), [&](const TurnProgress& p) {
                              const auto& text = std::get<TurnProgress::Text>(p.value).text;
                              panel.balloon().showMessage(ChatSession::extractLinks(text, true).text, true,
                                                          std::nullopt, false, BalloonStatus::working);
                          }});
        EventStreamParser parser;
        parser.onEvent = [](const QString& e, const QString& d) { VantleEvents::shared().dispatch(e, d); };
        for (const auto& bytes : events) {
            QElapsedTimer clock;
            clock.start();
            parser.feed(bytes);
            QApplication::processEvents();
            micros.push_back(static_cast<double>(clock.nsecsElapsed()) / 1000.0);
        }
        listeners.clear();
    }
    std::sort(micros.begin(), micros.end());
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[micros.size() * 99 / 100];
}
BENCHMARK(turnOnTheMainThread)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QTemporaryDir home;
    Settings::useFile(home.path() + QStringLiteral("/bench.conf"));
    Settings::registerDefaults();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
