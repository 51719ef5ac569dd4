#pragma once

#include <QDate>
#include <QString>

// The daily report of the user's own activity: the texts the stage shows about it.
namespace DailyReport {

// A report that was written: its file and its one-line summary.
struct Report {
    QString path;
    QString headline;
};

// Why no report came out; its text is read in the language in force.
struct ReportError {
    enum class Kind { noActivity, other };
    Kind kind = Kind::other;
    QString text; // for `other`: what went wrong, already worded
    QString localizedDescription() const;
};

// "Writing today's report on this computer…", and the like for yesterday or a weekday.
QString writingMessage(const QDate& day);
// "Click to open today's report ›", and the like.
QString openHint(const QDate& day);

} // namespace DailyReport
