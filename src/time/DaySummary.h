#pragma once

#include "activity/ActivitySpan.h"

#include <QDate>
#include <QList>
#include <QString>

#include <utility>

// A day of recorded application use boiled down to what is worth logging: the applications
// that took real time, with the window titles that took real time in them. Nothing of it leaves
// the computer until the user agrees.
class DaySummary {
public:
    struct Line {
        QString app;
        double duration = 0; // seconds
        QList<std::pair<QString, double>> titles;
    };

    static constexpr double appThreshold = 600.0;
    static constexpr double titleThreshold = 300.0;
    static constexpr int maxLines = 8;
    static constexpr int maxTitles = 3;
    static constexpr int titleLength = 80;

    // Reads the day's log; a day that can't be read is an empty one.
    static DaySummary of(const QDate& day);
    static DaySummary of(const QList<ActivitySpan>& spans);

    // For the user's eyes, in the balloon: one line per application.
    QString preview() const;
    // What goes to the workspace, titles with their own times.
    QString forPelka() const;

    QList<Line> lines; // largest first
    double active = 0; // seconds, all applications
};
