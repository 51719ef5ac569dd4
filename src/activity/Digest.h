#pragma once

#include "activity/ActivitySpan.h"

#include <QDate>
#include <QList>
#include <QString>

#include <optional>
#include <utility>
#include <vector>

// A day's spans boiled down to a short text of fixed form that a small local model can read,
// with the figures the report needs beside it. All the arithmetic of the report happens here.
struct Digest {
    // Every application of the day by its shown name, longest first.
    std::vector<std::pair<QString, double>> appTotals;
    double activeTime = 0;
    QString timeRange; // firstTime + " and " + lastTime
    QString firstTime; // "HH:mm"
    QString lastTime;
    QString text;
    // At least one span carried a window title.
    bool hasTitles = false;

    // None when the spans hold less than a minute. `day` only names the date in the text.
    static std::optional<Digest> make(const QDate& day, const QList<ActivitySpan>& spans);
};

namespace DailyReport {
// A duration as the digest and the report write it: "<1m", "59m", "2h", "2h 5m".
QString format(double seconds);
} // namespace DailyReport
