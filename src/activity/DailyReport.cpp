#include "activity/DailyReport.h"

#include "activity/ActivityRecorder.h"
#include "app/AppIdentity.h"
#include "app/Language.h"
#include "base/Clock.h"
#include "base/Text.h"

#include <QLocale>

namespace DailyReport {
namespace {

enum class Relative { today, yesterday, named };

Relative relativeDay(const QDate& day) {
    const QDate today = base::Clock::now().date();
    if (day == today) {
        return Relative::today;
    }
    return day == today.addDays(-1) ? Relative::yesterday : Relative::named;
}

// The weekday's name; in Estonian in the genitive ("esmaspäev" gives "esmaspäeva").
QString weekday(const QDate& day) {
    const bool estonian = Language::current() == AppLanguage::et;
    const QLocale locale(estonian ? QLocale::Estonian : QLocale::English,
                         estonian ? QLocale::Estonia : QLocale::UnitedStates);
    QString name = locale.toString(day, QStringLiteral("dddd"));
    if (estonian && name.endsWith(QLatin1String("päev"))) {
        name += QLatin1Char('a');
    }
    return name;
}

} // namespace

QString ReportError::localizedDescription() const {
    switch (kind) {
    case Kind::noActivity:
        return base::pick(QStringLiteral("No recent usage data."),
                          QStringLiteral("Hiljutisi kasutusandmeid pole."));
    case Kind::model:
        return modelError.localizedDescription();
    case Kind::file:
        break;
    }
    return path;
}

QCoro::Task<ReportResult> generate(QDate) {
    co_return ReportError{};
}

QString reportURL(const QDate& day) {
    return AppIdentity::supportURL() + QStringLiteral("/Reports/") + ActivityLog::dayName(day) +
           QStringLiteral(".md");
}

double activeTime(const QDate& day) {
    double seconds = 0;
    for (const ActivitySpan& span : ActivityRecorder::shared().spans(day)) {
        seconds += static_cast<double>(span.start.msecsTo(span.end)) / 1000.0;
    }
    return seconds;
}

QString headline(const QString& answer) {
    return answer;
}

QString writingMessage(const QDate& day) {
    switch (relativeDay(day)) {
    case Relative::today:
        return base::pick(QStringLiteral("Writing today's report on this computer…"),
                          QStringLiteral("Kirjutan selles arvutis tänast aruannet…"));
    case Relative::yesterday:
        return base::pick(QStringLiteral("Writing yesterday's report on this computer…"),
                          QStringLiteral("Kirjutan selles arvutis eilset aruannet…"));
    case Relative::named:
        break;
    }
    const QString name = weekday(day);
    return base::pick(QStringLiteral("Writing ") + name + QStringLiteral("'s report on this computer…"),
                      QStringLiteral("Kirjutan selles arvutis ") + name + QStringLiteral(" aruannet…"));
}

QString openHint(const QDate& day) {
    switch (relativeDay(day)) {
    case Relative::today:
        return base::pick(QStringLiteral("Click to open today's report ›"),
                          QStringLiteral("Ava tänane aruanne ›"));
    case Relative::yesterday:
        return base::pick(QStringLiteral("Click to open yesterday's report ›"),
                          QStringLiteral("Ava eilne aruanne ›"));
    case Relative::named:
        break;
    }
    const QString name = weekday(day);
    return base::pick(QStringLiteral("Click to open ") + name + QStringLiteral("'s report ›"),
                      QStringLiteral("Ava ") + name + QStringLiteral(" aruanne ›"));
}

} // namespace DailyReport
