#include "activity/DailyReport.h"

#include "activity/ActivityRecorder.h"
#include "activity/Digest.h"
#include "app/AppIdentity.h"
#include "app/Language.h"
#include "app/Settings.h"
#include "base/Clock.h"
#include "base/Files.h"
#include "base/Text.h"

#include <QCoro/QCoroFuture>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTextBoundaryFinder>
#include <QtConcurrent/QtConcurrentRun>

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

// The weekday's name; in Estonian in lower case, as Estonian writes it, and in the genitive
// ("esmaspäev" gives "esmaspäeva").
QString weekday(const QDate& day) {
    const AppLanguage language = Language::current();
    const QLocale locale = Language::locale(language);
    QString name = locale.toString(day, QStringLiteral("dddd"));
    if (language == AppLanguage::et) {
        name = locale.toLower(name);
        if (name.endsWith(u"päev")) {
            name += QLatin1Char('a');
        }
    }
    return name;
}

QString systemPrompt(bool estonian) {
    QString prompt = QStringLiteral(
        "You write concise daily timelog reports for the user, from app-usage data recorded on their "
        "computer. The durations are already calculated: use them as given and don't invent activities.");
    if (estonian) {
        prompt +=
            QStringLiteral(" Write the whole report, headings and category names included, in Estonian.");
    }
    return prompt;
}

QString storedModel() {
    const QString model = Settings::stringValue(QLatin1String(Settings::Key::reportModel));
    return model.isEmpty() ? Settings::stringValue(QLatin1String(Settings::Key::ollamaModel)) : model;
}

QString userPrompt(const Digest& digest) {
    QString prompt = QStringLiteral(
        "Provide a summarised and categorised time in a concise summary of this user activity for a daily "
        "timelog report. Answer in Markdown with:\n1. One sentence summarising the day.\n2. A \"## Time by "
        "category\" section: a bullet list like \"* Coding - 2.5h\" (use minutes for short items, e.g. "
        "\"* Browsing - 19min\"). Group apps into categories such as Coding, Meetings, Chatting, Browsing, "
        "Writing, Design, Admin and Other. The categories should add up to the active time.\n");
    prompt += digest.hasTitles
                  ? QStringLiteral("3. A \"## Highlights\" section with up to 5 bullets about what "
                                   "was worked on, based on the window titles.")
                  : QStringLiteral("Don't add any other sections.");
    return prompt + QStringLiteral("\n\nHere is the user's app usage:\n") + digest.text;
}

QList<OllamaClient::ChatMessage> userMessages(const Digest& digest) {
    return {{QStringLiteral("user"), userPrompt(digest)}};
}

QString footer(const Digest& digest, const QString& model, bool estonian) {
    const QString active = format(digest.activeTime);
    if (estonian) {
        return QStringLiteral("Aktiivne ") + active + QStringLiteral(" kell ") + digest.firstTime +
               QStringLiteral("–") + digest.lastTime + QStringLiteral(". Kirjutas ") + model +
               QStringLiteral(" selles arvutis; tegevusandmeid ei saadetud kuhugi.");
    }
    return QStringLiteral("Active ") + active + QStringLiteral(" between ") + digest.timeRange +
           QStringLiteral(". Written by ") + model +
           QStringLiteral(" on this computer; the activity data was not sent anywhere.");
}

// The Markdown file: a head with the date, the model's prose, and the figures from the digest.
QString reportText(const QDate& day, const Digest& digest, const QString& answer, const QString& model,
                   bool estonian) {
    const auto words = [estonian](const char* english, const char* estonianText) {
        return QString::fromUtf8(estonian ? estonianText : english);
    };
    QString text =
        QStringLiteral("# ") + words("Daily report", "Päeva aruanne") + QStringLiteral(": ") +
        Language::locale(estonian ? AppLanguage::et : AppLanguage::en).toString(day, QLocale::LongFormat) +
        QStringLiteral("\n\n");
    text += answer.trimmed() + QStringLiteral("\n\n---\n\n");
    text += QStringLiteral("## ") + words("Recorded app usage", "Salvestatud rakenduste kasutus") +
            QStringLiteral("\n\n");
    text += words("| App | Time |", "| Rakendus | Aeg |") + QStringLiteral("\n|---|---|\n");
    QStringList rows;
    for (const auto& [app, seconds] : digest.appTotals) {
        rows.append(QStringLiteral("| ") + app + QStringLiteral(" | ") + format(seconds) +
                    QStringLiteral(" |"));
    }
    text += rows.join(QLatin1Char('\n'));
    return text + QStringLiteral("\n\n_") + footer(digest, model, estonian) + QStringLiteral("_\n");
}

// Writes the report whole or not at all, readable by the user alone. Gives the path that could
// not be written, or none.
std::optional<QString> writeReport(const QString& path, const QString& text) {
    const QString folder = QFileInfo(path).path();
    if (!base::makePrivateFolder(folder)) {
        return folder;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return path;
    }
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    file.write(text.toUtf8());
    if (!file.commit()) {
        return path;
    }
    return std::nullopt;
}

// At most `limit` characters as the reader sees them; a longer text is cut and ends in "…".
QString shortened(const QString& text, int limit) {
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, text);
    qsizetype cut = -1;
    int count = 0;
    while (graphemes.toNextBoundary() >= 0) {
        ++count;
        if (count == limit - 3) {
            cut = graphemes.position();
        }
        if (count > limit) {
            return text.left(cut) + QStringLiteral("…");
        }
    }
    return text;
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
    return base::pick(QStringLiteral("Could not write the report: ") + path,
                      QStringLiteral("Aruannet ei saanud kirjutada: ") + path);
}

namespace {

std::optional<Digest> digestOf(const QDate& day, const QList<ActivitySpan>& spans) {
    return Digest::make(day, spans);
}

} // namespace

QCoro::Task<ReportResult> generate(QDate day) {
    // Futures named, no closures inside a co_await: GCC 12 freed such a closure's copy of the
    // spans twice.
    // The log and the open span are read together here, on the main thread, where a span is
    // closed into the log: read apart, a span closed in between would count twice.
    const QFuture<std::optional<Digest>> digesting =
        QtConcurrent::run(&digestOf, day, ActivityRecorder::shared().spans(day));
    const std::optional<Digest> digest = co_await digesting;
    if (!digest) {
        co_return ReportError{ReportError::Kind::noActivity, {}, {}};
    }
    const auto model = co_await OllamaClient::resolveModel(storedModel());
    if (!model) {
        co_return ReportError{ReportError::Kind::model, model.error(), {}};
    }
    const bool estonian = Language::current() == AppLanguage::et;
    const auto answer =
        co_await OllamaClient::chat(*model, systemPrompt(estonian), userMessages(*digest), std::nullopt, 600);
    if (!answer) {
        co_return ReportError{ReportError::Kind::model, answer.error(), {}};
    }
    const QString path = reportURL(day);
    const QString text = reportText(day, *digest, *answer, *model, estonian);
    const QFuture<std::optional<QString>> writing = QtConcurrent::run(&writeReport, path, text);
    const std::optional<QString> unwritten = co_await writing;
    if (unwritten) {
        co_return ReportError{ReportError::Kind::file, {}, *unwritten};
    }
    co_return Report{path, headline(*answer)};
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
    static const QRegularExpression lineBreaks(
        QStringLiteral("[\\n\\r\\x{0B}\\x{0C}\\x{85}\\x{2028}\\x{2029}]"));
    for (const QString& raw : answer.split(lineBreaks, Qt::SkipEmptyParts)) {
        qsizetype from = 0;
        qsizetype to = raw.size();
        while (from < to && (raw.at(from) == QLatin1Char(' ') || raw.at(from) == QLatin1Char('\t'))) {
            ++from;
        }
        while (to > from && (raw.at(to - 1) == QLatin1Char(' ') || raw.at(to - 1) == QLatin1Char('\t'))) {
            --to;
        }
        QString line = raw.mid(from, to - from);
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')) || line.startsWith(QLatin1Char('*')) ||
            line.startsWith(QLatin1Char('-'))) {
            continue;
        }
        line.remove(QStringLiteral("**")).remove(QStringLiteral("1. "));
        return shortened(line, 180);
    }
    return base::pick(QStringLiteral("Your daily report is ready."),
                      QStringLiteral("Päeva aruanne on valmis."));
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
