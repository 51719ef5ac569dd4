#pragma once

#include "base/Result.h"
#include "chat/OllamaClient.h"

#include <QCoro/QCoroTask>
#include <QDate>
#include <QString>

// A day of the user's recorded activity as a Markdown report on this computer's disk: the local
// model writes the prose from the day's digest, and every figure comes from the digest itself.
namespace DailyReport {

// A report that was written: its file and its one-line summary.
struct Report {
    QString path;
    QString headline;
};

// Why no report came out; its text is read in the language in force.
struct ReportError {
    enum class Kind { noActivity, model, file };
    Kind kind = Kind::noActivity;
    OllamaClient::ClientError modelError; // for `model`
    QString path;                         // for `file`: what could not be written
    QString localizedDescription() const;
};

using ReportResult = base::Result<Report, ReportError>;

// Writes the day's report, replacing an older one. Reads the day's spans on the main thread;
// the rest runs away from it.
QCoro::Task<ReportResult> generate(QDate day);
// The report file of a day, whether it exists or not.
QString reportURL(const QDate& day);
// Seconds of recorded activity on the day, all spans counted.
double activeTime(const QDate& day);
// The one line that announces a report: the model's first line of prose, cleaned and shortened.
QString headline(const QString& answer);

// "Writing today's report on this computer…", and the like for yesterday or a weekday.
QString writingMessage(const QDate& day);
// "Click to open today's report ›", and the like.
QString openHint(const QDate& day);

} // namespace DailyReport
