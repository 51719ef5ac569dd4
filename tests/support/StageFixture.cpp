#include "support/StageFixture.h"

#include "character/CharacterPlayer.h"
#include "stage/MessageText.h"
#include "support/SpinUntil.h"
#include "workspace/VantleEvents.h"

#include <QJsonArray>
#include <QLabel>

QJsonObject StageFixture::definition(const QString& id) {
    // Every animation the stage asks for, two cells each, so that a loop can be seen.
    auto d = CharacterFixture::definition(id, 4, 3, 25);
    auto animations = d.value("animations").toObject();
    animations.remove("Empty");
    for (const char* name :
         {"Greeting", "Thinking", "Explain", "GetAttention", "Alert", "Congratulate", "Reassure", "Confused",
          "Stressed", "Searching", "CheckingSchedule", "SendMail", "WritingProposal"}) {
        animations.insert(
            name, QJsonArray{QJsonObject{{"cell", 1}, {"ms", 200}}, QJsonObject{{"cell", 2}, {"ms", 200}}});
    }
    d.insert("animations", animations);
    return d;
}

void StageFixture::SetUp() {
    WorkspaceFixture::SetUp();
    if (HasFatalFailure()) {
        return;
    }
    for (const char* id : {"dorn", "lirra", "morvo"}) {
        characters.add(id, definition(id));
    }
    characters.activate();
    stage = std::make_unique<StageViewController>();
    window = std::make_unique<CharacterWindow>();
    window->setContentView(&stage->view());
    window->setGeometry(QRect(300, 300, 100, 75));
    window->makeKeyAndOrderFront();
    VantleEvents::shared().onNotification = [this](const VantleNotification& n) {
        stage->showVantleNotification(n);
    };
    VantleEvents::shared().onNotificationRead = [this](const QString& id) { stage->notificationRead(id); };
    VantleEvents::shared().start();
    ASSERT_TRUE(spinUntil([] { return VantleEvents::shared().state() == VantleEvents::State::streaming; }));
    run(1.0);
}

void StageFixture::TearDown() {
    VantleEvents::shared().onNotification = nullptr;
    VantleEvents::shared().onNotificationRead = nullptr;
    if (stage) {
        stage->closeChat();
    }
    stage.reset();
    window.reset();
    WorkspaceFixture::TearDown();
}

void StageFixture::run(double seconds) {
    for (double t = 0; t < seconds; t += 0.05) {
        spinFor(5);
        scheduler->advance(0.05);
        if (const auto now = stage->player().currentRun(); now && now != lastRun) {
            played << now->name;
            lastRun = now;
        }
    }
}

bool StageFixture::runUntil(const std::function<bool()>& condition, double limit) {
    for (double t = 0; t < limit; t += 0.05) {
        if (condition()) {
            return true;
        }
        run(0.05);
    }
    return condition();
}

QString StageFixture::message() {
    return stage->balloonPanel ? balloon().messageLabel()->message() : QString();
}

QString StageFixture::hint() {
    return stage->balloonPanel && balloon().hintLabel()->isVisibleTo(stage->balloonPanel)
               ? balloon().hintLabel()->text()
               : QString();
}

QString StageFixture::push(const QJsonObject& fields) {
    return sim->control("POST", "/sim/notifications", fields)
        .toObject()
        .value("notification")
        .toObject()
        .value("id")
        .toString();
}

QString StageFixture::pushApproval(const QJsonObject& fields) {
    return sim->control("POST", "/sim/approvals", fields)
        .toObject()
        .value("notification")
        .toObject()
        .value("id")
        .toString();
}

QList<QByteArray> StageFixture::bodiesTo(const QString& path) const {
    QList<QByteArray> bodies;
    for (const auto& entry : requestsTo(path)) {
        bodies << QByteArray::fromBase64(entry.toObject().value("body_base64").toString().toLatin1());
    }
    return bodies;
}
