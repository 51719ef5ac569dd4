#pragma once

#include "time/TimeEntry.h"

#include <QJsonObject>

#include <optional>

// A snapshot of the workspace's timer.
struct TimerState {
    bool enabled = false;
    std::optional<TimeEntry> active;
    int awaitingReview = 0;
    // The workspace's clock minus the local one when the state was read, in seconds; positive
    // when the workspace is ahead.
    double clockSkew = 0;

    // Reads a state reply at this moment, which sets the skew.
    static TimerState fromJson(const QJsonObject& json);
};
