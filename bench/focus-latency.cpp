// Time from a change of the window in front to the program's source of it knowing, on the
// desktop this runs in. Usage: focus-latency WINDOW_SCRIPT [SWITCHES]. Opens two windows of
// another program with WINDOW_SCRIPT (tests/wayland/window.py) and switches between them through
// swaymsg; prints the median and the slowest, and what swaymsg costs by itself.
#include "platform/Services.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

double swaymsg(const QStringList& arguments) {
    QElapsedTimer timer;
    timer.start();
    QProcess process;
    process.start(QStringLiteral("swaymsg"), arguments);
    process.waitForFinished();
    return timer.nsecsElapsed() / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: focus-latency WINDOW_SCRIPT [SWITCHES]\n");
        return 2;
    }
    const int switches = argc > 2 ? std::atoi(argv[2]) : 50;
    platform::install(platform::systemServices());
    const auto window = platform::services().activeWindow;
    QString front;
    window->onActivate = [&] {
        const auto app = window->frontmost();
        front = app ? app->identifier : QString();
    };
    std::vector<std::unique_ptr<QProcess>> windows;
    for (const char* id : {"bench.one", "bench.two"}) {
        auto process = std::make_unique<QProcess>();
        process->start(QStringLiteral("python3"),
                       {QString::fromLocal8Bit(argv[1]), QLatin1String(id), QLatin1String(id)});
        process->waitForReadyRead(20000);
        windows.push_back(std::move(process));
    }
    QThread::msleep(500);
    QCoreApplication::processEvents();
    std::vector<double> latencies;
    for (int i = 0; i < switches; ++i) {
        const QString id = i % 2 ? QStringLiteral("bench.one") : QStringLiteral("bench.two");
        QProcess focus;
        QElapsedTimer timer;
        timer.start();
        focus.start(QStringLiteral("swaymsg"), {QStringLiteral("[app_id=\"%1\"] focus").arg(id)});
        while (front != id && timer.elapsed() < 5000) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
        }
        latencies.push_back(timer.nsecsElapsed() / 1e6);
        focus.waitForFinished();
    }
    std::sort(latencies.begin(), latencies.end());
    std::vector<double> plain;
    for (int i = 0; i < 10; ++i) {
        plain.push_back(swaymsg({QStringLiteral("-t"), QStringLiteral("get_version")}));
    }
    std::sort(plain.begin(), plain.end());
    std::printf("focus change to the source knowing, %d switches: median %.1f ms, slowest %.1f ms "
                "(swaymsg alone: median %.1f ms)\n",
                switches, latencies[latencies.size() / 2], latencies.back(), plain[plain.size() / 2]);
    for (auto& process : windows) {
        process->kill();
        process->waitForFinished();
    }
    return 0;
}
