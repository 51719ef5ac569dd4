#include "activity/ActivityRecorder.h"

#include "app/AppIdentity.h"
#include "base/Clock.h"

#include <QDir>
#include <QFile>

namespace {

QString activityFolder() {
    return AppIdentity::supportURL() + QStringLiteral("/Activity");
}

} // namespace

ActivityRecorder::ActivityRecorder(QObject* parent) : QObject(parent) {}

ActivityRecorder& ActivityRecorder::shared() {
    static auto* recorder = new ActivityRecorder;
    return *recorder;
}

QString ActivityRecorder::fileURL(const QDate& day) {
    return activityFolder() + QLatin1Char('/') + ActivityLog::dayName(day) + QStringLiteral(".jsonl");
}

void ActivityRecorder::start() {}

void ActivityRecorder::sample() {}

void ActivityRecorder::deleteOldLogs() {}

void ActivityRecorder::setSeesFront(bool sees) {
    if (seesFront != sees) {
        seesFront = sees;
        emit canSeeApplicationsChanged(sees);
    }
}

void ActivityRecorder::closeCurrent(const QDateTime& at) {
    if (!current) {
        return;
    }
    ActivitySpan span = *std::exchange(current, std::nullopt);
    span.end = std::max(std::min(at, base::Clock::now()), span.start);
    if (span.start.secsTo(span.end) >= 1) {
        append(span);
    }
}

void ActivityRecorder::append(const ActivitySpan& span) {
    const QByteArray line = ActivityLog::encode(span) + '\n';
    QFile file(fileURL(span.start.toLocalTime().date()));
    if (file.open(QIODevice::WriteOnly | QIODevice::Append,
                  QFileDevice::ReadOwner | QFileDevice::WriteOwner)) {
        file.write(line);
    }
}

QList<ActivitySpan> ActivityRecorder::spans(const QDate& day) const {
    QList<ActivitySpan> out;
    QFile file(fileURL(day));
    if (file.open(QIODevice::ReadOnly)) {
        // JSON escapes line breaks inside strings, so a raw one only ever ends a line.
        const QByteArray all = file.readAll().replace('\r', '\n');
        for (const QByteArray& piece : all.split('\n')) {
            if (auto span = ActivityLog::decode(piece)) {
                out.append(*span);
            }
        }
    }
    if (current && current->start.toLocalTime().date() == day) {
        out.append(*current);
    }
    return out;
}
