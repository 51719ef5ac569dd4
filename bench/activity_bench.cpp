// What the day record costs where it touches the disk: reading a full day back (each report
// tick does while a report is due), appending a closed span, and starting with a month of logs
// in the folder, which is when old logs are deleted.

#include "activity/ActivityRecorder.h"
#include "app/AppIdentity.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

const QDate day(2026, 11, 18);

QString folder() {
    return AppIdentity::supportURL() + QStringLiteral("/Activity");
}

// A busy day: 5,000 spans over 25 applications, with window titles.
void writeDay(const QDate& date, int spans) {
    QDir().mkpath(folder());
    QFile file(ActivityRecorder::fileURL(date));
    file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    QDateTime at(date, QTime(7, 0));
    for (int i = 0; i < spans; ++i) {
        const QString app = QStringLiteral("Application %1").arg(i % 25);
        const ActivitySpan span{at, at.addSecs(8), app, QStringLiteral("org.example.app%1").arg(i % 25),
                                QStringLiteral("Document %1 / chapter %2").arg(i % 40).arg(i % 7)};
        file.write(ActivityLog::encode(span) + '\n');
        at = at.addSecs(10);
    }
}

void readDay(benchmark::State& state) {
    writeDay(day, static_cast<int>(state.range(0)));
    ActivityRecorder recorder;
    for (auto _ : state) {
        benchmark::DoNotOptimize(recorder.spans(day));
    }
}
BENCHMARK(readDay)->Arg(5000)->Unit(benchmark::kMillisecond);

void appendSpan(benchmark::State& state) {
    writeDay(day, 5000);
    ActivityRecorder recorder;
    const QDateTime start(day, QTime(20, 0));
    for (auto _ : state) {
        recorder.current = ActivitySpan{start, start, QStringLiteral("Editor"), QStringLiteral("Code"), {}};
        recorder.closeCurrent(start.addSecs(120));
    }
}
BENCHMARK(appendSpan)->Unit(benchmark::kMicrosecond);

// 45 days of logs of which 15 fall out of the 30 kept; each start deletes those 15.
void startWithMonthOfLogs(benchmark::State& state) {
    const QDate today = QDate::currentDate();
    for (int back = 0; back < 30; ++back) {
        writeDay(today.addDays(-back), 600);
    }
    for (auto _ : state) {
        state.PauseTiming();
        for (int back = 31; back < 46; ++back) {
            writeDay(today.addDays(-back), 0);
        }
        ActivityRecorder recorder;
        state.ResumeTiming();
        recorder.start();
    }
}
BENCHMARK(startWithMonthOfLogs)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    QTemporaryDir home;
    qputenv("XDG_DATA_HOME", home.path().toUtf8());
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
