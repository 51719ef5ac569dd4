#include "app/Settings.h"
#include "character/CharacterPlayer.h"
#include "character/CharacterSheet.h"
#include "character/CharacterWindow.h"
#include "stage/BalloonPanel.h"
#include "stage/StageViewController.h"
#include "workspace/EventStreamParser.h"
#include "workspace/VantleEvents.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

namespace {

// Notes the first paint of any balloon: the moment the notice is drawn for the screen.
class PaintWatch : public QObject {
public:
    bool painted = false;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && qobject_cast<BalloonPanel*>(watched)) {
            painted = true;
        }
        return QObject::eventFilter(watched, event);
    }
};

// A one-cell character with the animations a notice plays.
void writeCharacter(const QString& folder) {
    QDir(folder).mkpath(QStringLiteral("dorn"));
    QImage atlas(64, 64, QImage::Format_ARGB32);
    atlas.fill(qRgba(200, 40, 40, 255));
    atlas.save(folder + QStringLiteral("/dorn/atlas.png"));
    const QJsonArray step{QJsonObject{{"cell", 0}, {"ms", 100}}};
    const QJsonObject definition{
        {"id", "dorn"},
        {"name", "Dorn"},
        {"width", 64},
        {"height", 64},
        {"columns", 1},
        {"rows", 1},
        {"rest", 0},
        {"cellSize", 64},
        {"idle", QJsonArray{}},
        {"animations", QJsonObject{{"RestPose", step}, {"Show", step}, {"GetAttention", step}}},
    };
    QFile file(folder + QStringLiteral("/dorn/character.json"));
    if (file.open(QIODevice::WriteOnly)) {
        file.write(QJsonDocument(definition).toJson());
    }
}

// One plain notification, from the bytes of its event to the first paint of the balloon that
// says it, through the parser, the stream's dispatch, the stage and the balloon. Each round
// starts with no balloon open, as a notification usually finds the desktop. Reports the median
// and the worst of 100, and the same for the program's own work until the window system takes over.
void plainNotificationOnScreen(benchmark::State& state) {
    QTemporaryDir characters;
    writeCharacter(characters.path());
    CharacterSheet::setDirectory(characters.path());
    StageViewController stage;
    CharacterWindow window;
    window.setContentView(&stage.view());
    window.setGeometry(QRect(400, 300, 64, 64));
    window.makeKeyAndOrderFront();
    QApplication::processEvents();

    auto& events = VantleEvents::shared();
    events.onNotification = [&stage](const VantleNotification& n) { stage.showVantleNotification(n); };
    PaintWatch watch;
    qApp->installEventFilter(&watch);
    std::vector<double> micros;
    std::vector<double> handled;
    for (auto _ : state) {
        micros.clear();
        handled.clear();
        for (int i = 0; i < 100; ++i) {
            stage.closeChat();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QApplication::processEvents();
            const QJsonObject data{{"type", "notification.created"},
                                   {"data", QJsonObject{{"id", QStringLiteral("n-%1").arg(i)},
                                                        {"agentId", "dorn"},
                                                        {"title", "Timesheet gap"},
                                                        {"message", "Tuesday has 2 hours without entries."},
                                                        {"tone", "warning"}}}};
            const QByteArray bytes =
                "event: vantle.event\ndata: " + QJsonDocument(data).toJson(QJsonDocument::Compact) + "\n\n";
            EventStreamParser parser;
            parser.onEvent = [&events](const QString& e, const QString& d) { events.dispatch(e, d); };
            watch.painted = false;
            QElapsedTimer clock;
            clock.start();
            parser.feed(bytes);
            handled.push_back(static_cast<double>(clock.nsecsElapsed()) / 1000.0);
            while (!watch.painted) {
                QApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
            }
            micros.push_back(static_cast<double>(clock.nsecsElapsed()) / 1000.0);
        }
    }
    qApp->removeEventFilter(&watch);
    events.onNotification = nullptr;
    stage.closeChat();
    std::sort(micros.begin(), micros.end());
    std::sort(handled.begin(), handled.end());
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["worst_us"] = micros.back();
    // Of that, the program's own work before the window system takes over.
    state.counters["handled_median_us"] = handled[handled.size() / 2];
    state.counters["handled_worst_us"] = handled.back();
}
BENCHMARK(plainNotificationOnScreen)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QTemporaryDir home;
    Settings::useFile(home.path() + QStringLiteral("/bench.conf"));
    Settings::registerDefaults();
    Settings::setValue(QLatin1String(Settings::Key::idleAnimations), false);
    Settings::setValue(QLatin1String(Settings::Key::isMuted), true);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
