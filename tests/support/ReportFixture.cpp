#include "support/ReportFixture.h"

#include "activity/ActivityRecorder.h"
#include "activity/ActivitySpan.h"
#include "app/AppIdentity.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

void removeLogsAndReports() {
    for (const char* folder : {"/Activity", "/Reports"}) {
        QDir(AppIdentity::supportURL() + QLatin1String(folder)).removeRecursively();
    }
    // A file standing where the reports folder belongs, as a test of a failing write leaves it.
    QFile::remove(AppIdentity::supportURL() + QStringLiteral("/Reports"));
    // The support folder goes too when nothing else is in it: the program makes it on demand.
    QDir().rmdir(AppIdentity::supportURL());
}

void append(const QString& path, const QByteArray& content) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        file.write(content);
    }
}

} // namespace

struct ReportFixture::Wait {
    ReportFixture& fixture;
    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle) noexcept { fixture.waiting = handle; }
    void await_resume() const noexcept {}
};

ReportFixture::ReportFixture() {
    removeLogsAndReports();
}

ReportFixture::~ReportFixture() {
    // A report still being written ends, so that its task doesn't outlive the test.
    if (waiting) {
        finish(false);
    }
    removeLogsAndReports();
}

void ReportFixture::addActivity(const QDate& day, int seconds) {
    append(ActivityRecorder::fileURL(day),
           ActivityLog::encode(span(day, QTime(8, 0), seconds, "Editor")) + '\n');
}

ActivitySpan ReportFixture::span(const QDate& day, const QTime& start, double seconds, const QString& app,
                                 std::optional<QString> title, std::optional<QString> bundleID) {
    const QDateTime from(day, start);
    return ActivitySpan{from, from.addMSecs(qRound64(seconds * 1000)), app, std::move(bundleID),
                        std::move(title)};
}

QList<ActivitySpan> ReportFixture::morning(const QDate& day) {
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

void ReportFixture::writeLog(const QDate& day, const QList<ActivitySpan>& spans) {
    QFile::remove(ActivityRecorder::fileURL(day));
    QByteArray lines;
    for (const ActivitySpan& one : spans) {
        lines += ActivityLog::encode(one) + '\n';
    }
    append(ActivityRecorder::fileURL(day), lines);
}

QCoro::Task<DailyReport::ReportResult> ReportFixture::write(QDate day) {
    asked << day;
    co_await Wait{*this};
    if (!succeeds) {
        co_return DailyReport::ReportError{};
    }
    const QString path = DailyReport::reportURL(day);
    append(path, "# Report\n");
    co_return DailyReport::Report{path, headline};
}

void ReportFixture::finish(bool success) {
    succeeds = success;
    std::exchange(waiting, nullptr).resume();
}
