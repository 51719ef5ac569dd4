#include "app/Settings.h"
#include "chat/ChatSession.h"
#include "stage/MessageText.h"

#include <QApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

// A 20 KB answer of the kind the agents write: paragraphs, bullets, bold words and links.
QString answer() {
    QString text;
    for (int i = 0; text.size() < 20 * 1024; ++i) {
        text += QStringLiteral("## Päev %1\n\n").arg(i);
        text +=
            QStringLiteral("Tööaeg oli **pikk**, kuid õhtul jõudsime [raportini](/reports/%1) .\n").arg(i);
        text += QStringLiteral(
                    "- vaata https://docs.example/page/%1 ja\n* ka [kalendrit](https://cal.example/%1)\n\n\n")
                    .arg(i);
    }
    return text;
}

void extractFinal(benchmark::State& state) {
    const QString text = answer();
    for (auto _ : state) {
        benchmark::DoNotOptimize(ChatSession::extractLinks(text, false));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * text.size() * 2);
}
BENCHMARK(extractFinal)->Unit(benchmark::kMicrosecond);

void extractPartial(benchmark::State& state) {
    const QString text = answer() + QStringLiteral(" and [half a li");
    for (auto _ : state) {
        benchmark::DoNotOptimize(ChatSession::extractLinks(text, true));
    }
}
BENCHMARK(extractPartial)->Unit(benchmark::kMicrosecond);

// The balloon renders a streamed answer's Markdown anew with each piece: the cost of one piece
// at the end of a 20 KB answer, laid out at the balloon's width.
void renderPiece(benchmark::State& state) {
    const QString text = ChatSession::extractLinks(answer(), false).text;
    const QString longer = text + QStringLiteral(" and one more word");
    MessageText message;
    message.resize(266, 400);
    bool flip = false;
    for (auto _ : state) {
        message.setMessage(flip ? longer : text, Qt::MarkdownText);
        benchmark::DoNotOptimize(message.naturalHeight());
        flip = !flip;
    }
}
BENCHMARK(renderPiece)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    // No screen is needed to lay text out.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    QTemporaryDir home;
    Settings::useFile(home.path() + QStringLiteral("/bench.conf"));
    Settings::registerDefaults();
    Settings::setValue(QLatin1String(Settings::Key::vantleURL), QStringLiteral("https://acme.example/app"));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
