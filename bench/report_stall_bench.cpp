// While the local model writes a report, the main thread must go on animating the figure and
// answering the chat. This writes whole reports of a busy day (5,000 spans) against the
// simulator's model, which takes a second to answer, and reports the longest the main loop was
// kept from a 5-millisecond timer meanwhile, with the time the whole report took.

#include "activity/ActivityRecorder.h"
#include "activity/DailyReport.h"
#include "app/AppIdentity.h"
#include "app/Settings.h"

#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <algorithm>

namespace {

QProcess* simulator = nullptr;
QUrl simURL;

bool startSimulator() {
    simulator = new QProcess;
    simulator->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    simulator->start(QStringLiteral(MIRK_WORKSPACE_SIM_PATH), {});
    if (!simulator->waitForReadyRead(10000)) {
        return false;
    }
    const QByteArray first = simulator->readLine().trimmed();
    simURL = QUrl(QStringLiteral("http://") + (QString::fromLatin1(first).section(QLatin1Char(' '), 2)));
    // The model thinks for a second before it answers.
    QNetworkAccessManager manager;
    QNetworkRequest request(simURL.resolved(QUrl(QStringLiteral("/sim/faults"))));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    QNetworkReply* reply = manager.post(
        request, QByteArrayLiteral(R"({"path":"/api/chat","action":"delay","delay_ms":1000,"times":-1})"));
    while (!reply->isFinished()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    const bool ok = reply->error() == QNetworkReply::NoError;
    delete reply;
    return ok;
}

void writeDay(const QDate& day) {
    QDir().mkpath(AppIdentity::supportURL() + QStringLiteral("/Activity"));
    QFile file(ActivityRecorder::fileURL(day));
    file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    QDateTime at(day, QTime(7, 0));
    for (int i = 0; i < 5000; ++i) {
        const ActivitySpan span{at, at.addSecs(8), QStringLiteral("Application %1").arg(i % 25),
                                QStringLiteral("org.example.app%1").arg(i % 25),
                                QStringLiteral("Document %1").arg(i % 40)};
        file.write(ActivityLog::encode(span) + '\n');
        at = at.addSecs(10);
    }
}

void reportWhileTheFigureAnimates(benchmark::State& state) {
    const QDate day = QDate::currentDate().addDays(-1);
    writeDay(day);
    Settings::setValue(QLatin1String(Settings::Key::ollamaURL), simURL.toString());
    double worstGap = 0;
    bool failed = false;
    for (auto _ : state) {
        QElapsedTimer sinceTick;
        sinceTick.start();
        QTimer frames;
        frames.setTimerType(Qt::PreciseTimer);
        QObject::connect(&frames, &QTimer::timeout, [&] {
            worstGap = std::max(worstGap, static_cast<double>(sinceTick.nsecsElapsed()) / 1e6);
            sinceTick.restart();
        });
        frames.start(5);
        const auto result = QCoro::waitFor(DailyReport::generate(day));
        failed = failed || !result.ok();
    }
    state.counters["worst_main_loop_gap_ms"] = worstGap;
    if (failed) {
        state.SkipWithError("the report failed");
    }
}
BENCHMARK(reportWhileTheFigureAnimates)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

} // namespace

int main(int argc, char** argv) {
    QTemporaryDir home;
    qputenv("XDG_DATA_HOME", (home.path() + QStringLiteral("/data")).toUtf8());
    QCoreApplication app(argc, argv);
    Settings::useFile(home.path() + QStringLiteral("/settings.ini"));
    Settings::registerDefaults();
    if (!startSimulator()) {
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    simulator->terminate();
    simulator->waitForFinished();
    delete simulator;
    return 0;
}
