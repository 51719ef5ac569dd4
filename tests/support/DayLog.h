#pragma once

#include "activity/ActivitySpan.h"

#include <QDate>
#include <QList>
#include <QTime>

#include <optional>

// Made-up days of recorded activity, in local time, and their logs on disk.
namespace DayLog {

ActivitySpan span(const QDate& day, const QTime& start, double seconds, const QString& app,
                  std::optional<QString> title = std::nullopt,
                  std::optional<QString> bundleID = std::nullopt);
// A short working morning: an editor with one long window title, a browser, a short visit to a
// chat, and a title too short to be named.
QList<ActivitySpan> morning(const QDate& day);
// Replaces the day's log with these spans, in this order.
void write(const QDate& day, const QList<ActivitySpan>& spans);

} // namespace DayLog
