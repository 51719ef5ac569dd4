#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QDate>
#include <QDateTime>
#include <QString>

#include <optional>

// A stretch of time in one application, as the day log keeps it.
struct ActivitySpan {
    QDateTime start;
    // While the span is open: the moment of the last sample.
    QDateTime end;
    QString app;
    std::optional<QString> bundleID;
    std::optional<QString> title;
    bool operator==(const ActivitySpan&) const = default;
};

// The day logs' line form: one compact JSON object a span, dates in UTC to the whole second,
// "/" written as "\/".
namespace ActivityLog {

// The span's line, without its line feed.
QByteArray encode(const ActivitySpan& span);
// A line back as a span; none when it lacks `start`, `end` or `app` or doesn't parse.
std::optional<ActivitySpan> decode(QByteArrayView line);
// The spans with one name for each application, known by its window class or desktop entry:
// that of its last span. A name shown in another language earlier that day joins the same row.
QList<ActivitySpan> oneNamePerApplication(QList<ActivitySpan> spans);
// "2026-11-18": the name of a day's files, by the local calendar.
QString dayName(const QDate& day);
// The day of a file name without its extension; none when it is no such name.
std::optional<QDate> dayFromName(const QString& name);

} // namespace ActivityLog
