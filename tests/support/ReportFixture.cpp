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
    const QDateTime start(day, QTime(8, 0));
    const ActivitySpan span{start, start.addSecs(seconds), QStringLiteral("Editor"), std::nullopt,
                            std::nullopt};
    append(ActivityRecorder::fileURL(day), ActivityLog::encode(span) + '\n');
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
