#include "support/DayLog.h"

#include "activity/ActivityRecorder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace DayLog {

ActivitySpan span(const QDate& day, const QTime& start, double seconds, const QString& app,
                  std::optional<QString> title, std::optional<QString> bundleID) {
    const QDateTime from(day, start);
    return ActivitySpan{from, from.addMSecs(qRound64(seconds * 1000)), app, std::move(bundleID),
                        std::move(title)};
}

QList<ActivitySpan> morning(const QDate& day) {
    const QString editor = QStringLiteral("Editor");
    const QString file = QStringLiteral("main.cpp — mirk/src");
    return {
        span(day, QTime(9, 2), 1800, editor, file, QStringLiteral("org.editor")),
        span(day, QTime(9, 32), 600, QStringLiteral("Browser"), std::nullopt, QStringLiteral("org.browser")),
        span(day, QTime(9, 42), 2400, editor, file, QStringLiteral("org.editor")),
        span(day, QTime(10, 22), 45, QStringLiteral("Chat")),
        span(day, QTime(10, 23), 300, QStringLiteral("Browser"), std::nullopt, QStringLiteral("org.browser")),
        span(day, QTime(10, 28), 100, editor, QStringLiteral("notes"), QStringLiteral("org.editor"))};
}

void write(const QDate& day, const QList<ActivitySpan>& spans) {
    const QString path = ActivityRecorder::fileURL(day);
    QDir().mkpath(QFileInfo(path).path());
    QFile log(path);
    ASSERT_TRUE(log.open(QIODevice::WriteOnly | QIODevice::Truncate));
    for (const ActivitySpan& one : spans) {
        log.write(ActivityLog::encode(one) + '\n');
    }
}

} // namespace DayLog
