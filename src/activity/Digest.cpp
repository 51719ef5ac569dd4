#include "activity/Digest.h"

#include <QHash>
#include <QLocale>
#include <QStringList>
#include <QTimeZone>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace {

// Seconds under names, in the order the names first came, so that equal totals keep that order.
class Totals {
public:
    void add(const QString& name, double seconds) {
        const auto found = index.constFind(name);
        if (found != index.constEnd()) {
            items[*found].second += seconds;
            return;
        }
        index.insert(name, items.size());
        items.emplace_back(name, seconds);
    }
    // The totals of at least `floor` seconds, longest first, at most `limit` of them.
    std::vector<std::pair<QString, double>>
    longest(double floor = 0, std::size_t limit = std::numeric_limits<std::size_t>::max()) const {
        std::vector<std::pair<QString, double>> out;
        std::copy_if(items.begin(), items.end(), std::back_inserter(out),
                     [floor](const auto& item) { return item.second >= floor; });
        std::stable_sort(out.begin(), out.end(),
                         [](const auto& a, const auto& b) { return a.second > b.second; });
        out.resize(std::min(out.size(), limit));
        return out;
    }

private:
    QHash<QString, std::size_t> index;
    std::vector<std::pair<QString, double>> items;
};

// A span that counts, with its times read once: comparing and subtracting dates is not free.
struct Timed {
    qint64 start = 0; // milliseconds since the epoch
    qint64 end = 0;
    const ActivitySpan* span = nullptr;
    double seconds() const { return static_cast<double>(end - start) / 1000.0; }
};

// Moments in this computer's time zone. One zone for the whole digest: the C library's local
// time looks at the zone file again for every moment, which was most of the digest's time.
class LocalTime {
public:
    QDateTime of(const QDateTime& moment) const {
        return zone.isValid() ? moment.toTimeZone(zone) : moment.toLocalTime();
    }

private:
    QTimeZone zone = QTimeZone::systemTimeZone();
};

// The spans of positive length, earliest first; equal starts keep their order.
std::vector<Timed> timed(const QList<ActivitySpan>& spans) {
    std::vector<Timed> out;
    out.reserve(spans.size());
    for (const ActivitySpan& span : spans) {
        if (!span.start.isValid() || !span.end.isValid()) {
            continue;
        }
        const Timed one{span.start.toMSecsSinceEpoch(), span.end.toMSecsSinceEpoch(), &span};
        if (one.end > one.start) {
            out.push_back(one);
        }
    }
    std::stable_sort(out.begin(), out.end(),
                     [](const Timed& a, const Timed& b) { return a.start < b.start; });
    return out;
}

struct DayTotals {
    Totals apps;
    QHash<QString, Totals> titles; // per application
    std::array<Totals, 24> hours;
};

DayTotals walk(const std::vector<Timed>& spans, const LocalTime& local) {
    DayTotals totals;
    for (const Timed& one : spans) {
        const ActivitySpan& span = *one.span;
        totals.apps.add(span.app, one.seconds());
        if (span.title) {
            totals.titles[span.app].add(*span.title, one.seconds());
        }
        // The whole span counts for the hour it began in.
        totals.hours[local.of(span.start).time().hour()].add(span.app, one.seconds());
    }
    return totals;
}

void appendAppLines(QStringList& lines, const Digest& digest, const QHash<QString, Totals>& titles) {
    double shortTotal = 0;
    for (const auto& [app, seconds] : digest.appTotals) {
        if (seconds < 60) {
            shortTotal += seconds;
            continue;
        }
        lines.append(QStringLiteral("- ") + app + QStringLiteral(": ") + DailyReport::format(seconds));
        const auto appTitles = titles.constFind(app);
        if (appTitles == titles.constEnd()) {
            continue;
        }
        for (const auto& [title, titleSeconds] : appTitles->longest(120, 6)) {
            lines.append(QStringLiteral("  - \"") + title + QStringLiteral("\": ") +
                         DailyReport::format(titleSeconds));
        }
    }
    if (shortTotal > 0) {
        lines.append(QStringLiteral("- Short visits to other apps: ") + DailyReport::format(shortTotal));
    }
}

void appendHourLines(QStringList& lines, const std::array<Totals, 24>& hours) {
    for (int hour = 0; hour < 24; ++hour) {
        const auto items = hours[hour].longest(60, 4);
        if (items.empty()) {
            continue;
        }
        QStringList parts;
        for (const auto& [app, seconds] : items) {
            parts.append(app + QLatin1Char(' ') + DailyReport::format(seconds));
        }
        lines.append(QString::asprintf("- %02d:00: ", hour) + parts.join(QStringLiteral(", ")));
    }
}

} // namespace

std::optional<Digest> Digest::make(const QDate& day, const QList<ActivitySpan>& spans) {
    const QList<ActivitySpan> named = ActivityLog::oneNamePerApplication(spans);
    const std::vector<Timed> kept = timed(named);
    if (kept.empty()) {
        return std::nullopt;
    }
    Digest digest;
    const Timed* latest = &kept.front();
    for (const Timed& one : kept) {
        digest.activeTime += one.seconds();
        latest = one.end > latest->end ? &one : latest;
    }
    if (digest.activeTime < 60) {
        return std::nullopt;
    }
    const QLocale locale;
    const LocalTime local;
    digest.firstTime = locale.toString(local.of(kept.front().span->start), QStringLiteral("HH:mm"));
    digest.lastTime = locale.toString(local.of(latest->span->end), QStringLiteral("HH:mm"));
    digest.timeRange = digest.firstTime + QStringLiteral(" and ") + digest.lastTime;

    const DayTotals totals = walk(kept, local);
    digest.hasTitles = !totals.titles.isEmpty();
    digest.appTotals = totals.apps.longest();

    QStringList lines{QStringLiteral("Date: ") + locale.toString(day, QLocale::LongFormat),
                      QStringLiteral("Active time: ") + DailyReport::format(digest.activeTime) +
                          QStringLiteral(", between ") + digest.timeRange + QLatin1Char('.'),
                      QString(), QStringLiteral("Time per app:")};
    appendAppLines(lines, digest, totals.titles);
    lines.append(QString());
    lines.append(QStringLiteral("Timeline (by hour):"));
    appendHourLines(lines, totals.hours);
    digest.text = lines.join(QLatin1Char('\n'));
    return digest;
}

namespace DailyReport {

QString format(double seconds) {
    // std::round takes halves away from zero.
    const auto minutes = static_cast<qint64>(std::round(seconds / 60.0));
    if (minutes < 1) {
        return QStringLiteral("<1m");
    }
    if (minutes < 60) {
        return QString::number(minutes) + QLatin1Char('m');
    }
    const qint64 rest = minutes % 60;
    const QString hours = QString::number(minutes / 60) + QLatin1Char('h');
    return rest == 0 ? hours : hours + QLatin1Char(' ') + QString::number(rest) + QLatin1Char('m');
}

} // namespace DailyReport
