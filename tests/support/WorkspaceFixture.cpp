#include "support/WorkspaceFixture.h"

#include "app/Settings.h"
#include "base/Network.h"
#include "support/SpinUntil.h"
#include "support/TestEnvironment.h"
#include "workspace/Keychain.h"
#include "workspace/VantleClient.h"
#include "workspace/VantleEvents.h"

#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>

void WorkspaceFixture::SetUp() {
    TestEnvironment::freshSettings();
    scheduler = std::make_unique<base::VirtualScheduler>(virtualStart);
    // The network manager tells of each answer before the reply's own caller resumes.
    answers = QObject::connect(&base::network(), &QNetworkAccessManager::finished,
                               [this](QNetworkReply* reply) { answeredPaths << reply->url().path(); });
    startSim();
}

void WorkspaceFixture::startSim(const QStringList& arguments) {
    sim = std::make_unique<SimProcess>(arguments);
    ASSERT_TRUE(sim->isRunning());
    // The address as a user writes it, escapes and all.
    Settings::setValue(QLatin1String(Settings::Key::vantleURL),
                       QString::fromLatin1(sim->baseUrl().toEncoded()));
    services.secretStore->secrets.insert(QLatin1String(Keychain::desktopKeyAccount), sim->desktopKey());
    VantleClient::reset();
}

void WorkspaceFixture::TearDown() {
    // Tasks still waiting on virtual time are woken and run to their end, so that nothing of
    // theirs outlives the test.
    VantleEvents::shared().stop();
    if (scheduler) {
        for (int i = 0; i < 3; ++i) {
            scheduler->advance(0);
            spinFor(20);
            scheduler->advance(3600);
            spinFor(20);
        }
    }
    QObject::disconnect(answers);
    scheduler.reset();
    sim.reset();
}

QJsonArray WorkspaceFixture::requestsTo(const QString& path) const {
    return requestsAt(sim->basePath() + path);
}

QJsonArray WorkspaceFixture::requestsAt(const QString& path) const {
    QJsonArray out;
    for (const auto& entry : sim->requests()) {
        if (entry.toObject().value("path").toString() == path) {
            out.append(entry);
        }
    }
    return out;
}

int WorkspaceFixture::countOf(const QByteArray& method, const QString& path) const {
    int n = 0;
    for (const auto& entry : requestsTo(path)) {
        n += entry.toObject().value("method").toString().toUtf8() == method ? 1 : 0;
    }
    return n;
}

bool WorkspaceFixture::answered(const QString& path) {
    const QString full = sim->basePath() + path;
    return spinUntil([&] { return answeredPaths.contains(full); });
}

void WorkspaceFixture::refreshed(TimeTracker& tracker) {
    bool changed = false;
    const auto listener = tracker.onChange;
    tracker.onChange = [&changed, listener] {
        changed = true;
        if (listener) {
            listener();
        }
    };
    tracker.refresh();
    const bool came = spinUntil([&] { return changed; });
    tracker.onChange = listener;
    ASSERT_TRUE(came) << "the timer's state never came";
}

void WorkspaceFixture::fault(const QString& path, QJsonObject rule) const {
    rule.insert("path", sim->basePath() + path);
    sim->control("POST", "/sim/faults", rule);
}
