// A large document goes to the workspace from disk as it is sent: this uploads a 100 MB file to
// the simulator on loopback and reports how far the resident memory rose above what it was
// before (the kernel's peak, reset first) and the throughput.

#include "app/Settings.h"
#include "workspace/VantleClient.h"

#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>

#include <benchmark/benchmark.h>

namespace {

// Kilobytes of a field of /proc/self/status.
long statusKB(const char* field) {
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    for (const auto& line : status.readAll().split('\n')) {
        if (line.startsWith(field)) {
            return line.mid(static_cast<qsizetype>(qstrlen(field))).trimmed().split(' ').first().toLong();
        }
    }
    return -1;
}

void resetPeak() {
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    if (clear.open(QIODevice::WriteOnly)) {
        clear.write("5");
    }
}

void uploadHundredMegabytes(benchmark::State& state) {
    QProcess simulator;
    simulator.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    simulator.start(QStringLiteral(MIRK_WORKSPACE_SIM_PATH),
                    {QStringLiteral("--key"), QStringLiteral("bench-key")});
    if (!simulator.waitForReadyRead(10000)) {
        state.SkipWithError("the simulator did not start");
        return;
    }
    // "listening on 127.0.0.1:<port>"; the workspace lives under /app.
    const QString host = QString::fromLatin1(simulator.readLine().trimmed()).section(QLatin1Char(' '), 2);
    Settings::setValue(QLatin1String(Settings::Key::vantleURL),
                       QStringLiteral("http://") + host + QStringLiteral("/app"));
    qputenv("VANTLE_DESKTOP_KEY", "bench-key");

    QTemporaryDir dir;
    QFile file(dir.filePath(QStringLiteral("large.bin")));
    file.open(QIODevice::WriteOnly);
    QByteArray block(1 << 20, 'x');
    for (int i = 0; i < 100; ++i) {
        block[0] = static_cast<char>(i);
        file.write(block);
    }
    file.close();
    block.clear();
    block.squeeze();
    // The first call takes the token, so that the upload measures the upload alone.
    if (!QCoro::waitFor(VantleClient::whoAmI())) {
        state.SkipWithError("the simulator refused the key");
        return;
    }

    long rise = 0;
    double seconds = 0;
    for (auto _ : state) {
        const long before = statusKB("VmRSS:");
        resetPeak();
        QElapsedTimer timer;
        timer.start();
        const auto document = QCoro::waitFor(VantleClient::upload(file.fileName()));
        seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;
        if (!document) {
            state.SkipWithError(document.error().localizedDescription().toStdString().c_str());
            break;
        }
        rise = std::max(rise, statusKB("VmHWM:") - before);
    }
    state.counters["peak_rise_MiB"] = static_cast<double>(rise) / 1024.0;
    state.counters["MB_per_s"] = 100.0 * 1.048576 / seconds;
    simulator.terminate();
    simulator.waitForFinished(5000);
}

} // namespace

BENCHMARK(uploadHundredMegabytes)->Iterations(3)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.path().toLocal8Bit());
    Settings::useFile(home.filePath(QStringLiteral("bench.ini")));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
