#pragma once

#include "base/VirtualScheduler.h"
#include "platform/fake/FakeServices.h"
#include "support/SimProcess.h"
#include "time/TimeTracker.h"

#include <QCoro/QCoroTask>
#include <QDateTime>
#include <QMetaObject>
#include <QStringList>

#include <gtest/gtest.h>

#include <memory>

// A test against the simulator: the workspace address points at it, the stored desktop key is
// the one it accepts, the token is fresh, and time is virtual.
class WorkspaceFixture : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // A new simulator, with these arguments, in place of the one running.
    void startSim(const QStringList& arguments = {});
    // Requests the simulator saw for a path under the workspace (with its query), oldest first.
    QJsonArray requestsTo(const QString& path) const;
    // Requests the simulator saw for a path from its root, such as the model server's.
    QJsonArray requestsAt(const QString& path) const;
    int countOf(const QByteArray& method, const QString& path) const;
    // Adds a fault rule for a path under the workspace.
    void fault(const QString& path, QJsonObject rule) const;
    // Waits until the program has had the answer to a call of a path under the workspace; its
    // caller has then been resumed. False when none came within the safety net.
    bool answered(const QString& path);
    // Refreshes the timer and waits until the tracker has taken in the workspace's answer.
    void refreshed(TimeTracker& tracker = TimeTracker::shared());

    template <typename T> T await(QCoro::Task<T>&& task) { return QCoro::waitFor(std::move(task)); }

    // Where virtual time begins; a test may move it before SetUp.
    QDateTime virtualStart = QDateTime(QDate(2026, 3, 2), QTime(9, 0));
    std::unique_ptr<SimProcess> sim;
    platform::fake::FakeServices services;
    std::unique_ptr<base::VirtualScheduler> scheduler;

private:
    QStringList answeredPaths;
    QMetaObject::Connection answers;
};
