#pragma once

#include "character/CharacterPlayer.h"
#include "character/CharacterWindow.h"
#include "stage/BalloonView.h"
#include "stage/StageViewController.h"
#include "support/CharacterFixture.h"
#include "support/WorkspaceFixture.h"

#include <QJsonObject>
#include <QStringList>

#include <functional>
#include <memory>

// The stage on a real display against the simulator: Dorn, Lirra and Morvo installed (Pelka is
// not), the event stream running with its notifications going to the stage, time virtual.
class StageFixture : public WorkspaceFixture {
protected:
    void SetUp() override;
    void TearDown() override;

    // A character with every animation the stage asks for.
    static QJsonObject definition(const QString& id);

    // Lets real events and virtual time run together, virtual time ten times as fast, noting
    // each animation as it starts: every play is a run of its own, also one of the animation
    // that is playing already.
    void run(double seconds);
    bool runUntil(const std::function<bool()>& condition, double limit = 30);
    BalloonView& balloon() { return stage->balloonPanel->balloon(); }
    // What the balloon shows now: its text, and its hint where one is shown.
    QString message();
    QString hint();
    // Pushes a notification through the simulator's stream; answers its id.
    QString push(const QJsonObject& fields);
    // Stores an approval and pushes its notification; answers the notification's id.
    QString pushApproval(const QJsonObject& fields);
    // The raw bodies of the requests to a path under the workspace, oldest first.
    QList<QByteArray> bodiesTo(const QString& path) const;

    CharacterFixture characters;
    std::unique_ptr<StageViewController> stage;
    std::unique_ptr<CharacterWindow> window;
    QStringList played;
    std::shared_ptr<CharacterPlayer::Run> lastRun;
};
