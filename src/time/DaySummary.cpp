#include "time/DaySummary.h"

#include "activity/ActivityRecorder.h"
#include "activity/Digest.h"
#include "base/Text.h"

#include <QHash>

#include <algorithm>

namespace {

// The entries of at least the threshold, largest first, the first few.
QList<std::pair<QString, double>> largest(const QHash<QString, double>& totals, double threshold, int count) {
    QList<std::pair<QString, double>> kept;
    for (auto it = totals.constBegin(); it != totals.constEnd(); ++it) {
        if (it.value() >= threshold) {
            kept.append({it.key(), it.value()});
        }
    }
    std::sort(kept.begin(), kept.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
    return kept.mid(0, count);
}

} // namespace

DaySummary DaySummary::of(const QDate& day) {
    return of(ActivityRecorder::shared().spans(day));
}

DaySummary DaySummary::of(const QList<ActivitySpan>& spans) {
    QHash<QString, double> totals;
    QHash<QString, QHash<QString, double>> titleTotals;
    for (const auto& span : ActivityLog::oneNamePerApplication(spans)) {
        const double seconds = static_cast<double>(span.start.msecsTo(span.end)) / 1000.0;
        if (!(seconds > 0)) {
            continue;
        }
        totals[span.app] += seconds;
        if (span.title) {
            if (const QString title = span.title->trimmed(); !title.isEmpty()) {
                titleTotals[span.app][title] += seconds;
            }
        }
    }
    DaySummary summary;
    for (const double seconds : std::as_const(totals)) {
        summary.active += seconds;
    }
    for (const auto& [app, seconds] : largest(totals, appThreshold, maxLines)) {
        Line line{app, seconds, {}};
        for (const auto& [title, titleSeconds] : largest(titleTotals.value(app), titleThreshold, maxTitles)) {
            line.titles.append({base::truncated(title, titleLength), titleSeconds});
        }
        summary.lines.append(line);
    }
    return summary;
}

QString DaySummary::preview() const {
    QStringList out;
    for (const auto& line : lines) {
        QString text = line.app + QStringLiteral(" — ") + DailyReport::format(line.duration);
        if (!line.titles.isEmpty()) {
            QStringList titles;
            for (const auto& title : line.titles) {
                titles << QStringLiteral("„") + title.first + QStringLiteral("”");
            }
            text += QStringLiteral(": ") + titles.join(QStringLiteral(", "));
        }
        out << text;
    }
    return out.join(QLatin1Char('\n'));
}

QString DaySummary::forPelka() const {
    QStringList out;
    for (const auto& line : lines) {
        QString block =
            QStringLiteral("- ") + line.app + QStringLiteral(": ") + DailyReport::format(line.duration);
        for (const auto& [title, seconds] : line.titles) {
            block +=
                QStringLiteral("\n  - \"") + title + QStringLiteral("\": ") + DailyReport::format(seconds);
        }
        out << block;
    }
    return out.join(QLatin1Char('\n'));
}
