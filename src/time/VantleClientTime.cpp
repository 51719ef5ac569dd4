#include "workspace/VantleClient.h"

#include "base/Json.h"
#include "time/TimeEntry.h"
#include "time/TimerState.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QUuid>

// The timer calls of the workspace client.
namespace VantleClient {
namespace {

QCoro::Task<Result<TimeEntry>> entryCall(QByteArray method, QString path, std::optional<QByteArray> data) {
    const auto reply = co_await sendForObject(method, path, data, 30);
    if (!reply) {
        co_return reply.error();
    }
    const auto entry = TimeEntry::fromJson(*reply);
    if (!entry) {
        co_return ClientError::badResponse();
    }
    co_return *entry;
}

} // namespace

QCoro::Task<Result<TimerState>> timerState() {
    const auto reply = co_await sendForObject("GET", QStringLiteral("/api/time/state"), std::nullopt, 30);
    if (!reply) {
        co_return reply.error();
    }
    co_return TimerState::fromJson(*reply);
}

QCoro::Task<Result<TimeEntry>> startTimer(std::optional<TimeEntry> like) {
    QJsonObject body{{QStringLiteral("id"), QUuid::createUuid().toString(QUuid::WithoutBraces).toLower()}};
    if (like) {
        // Absent values leave their keys out rather than sending null.
        const std::pair<QString, const std::optional<QString>&> fields[] = {
            {QStringLiteral("project_id"), like->projectId},
            {QStringLiteral("task_id"), like->taskId},
            {QStringLiteral("note"), like->note},
        };
        for (const auto& [key, value] : fields) {
            if (value) {
                body.insert(key, *value);
            }
        }
    }
    co_return co_await entryCall("POST", QStringLiteral("/api/time/entries"), jsonBody(body));
}

QCoro::Task<Result<TimeEntry>> stopTimer(QString id) {
    const QString path = QStringLiteral("/api/time/entries/") +
                         QString::fromLatin1(QUrl::toPercentEncoding(id)) + QStringLiteral("/stop");
    co_return co_await entryCall("POST", path, std::nullopt);
}

QCoro::Task<Result<QList<TimeEntry>>> recentTimers() {
    const auto reply = co_await sendForObject("GET", QStringLiteral("/api/time/recent"), std::nullopt, 30);
    if (!reply) {
        co_return reply.error();
    }
    QList<TimeEntry> entries;
    // Anything but objects throughout makes the list unreadable, and so empty.
    for (const auto& element :
         base::json::objectsOnly(*reply, QStringLiteral("entries")).value_or(QList<QJsonObject>{})) {
        if (auto entry = TimeEntry::fromJson(element)) {
            entries.append(std::move(*entry));
        }
    }
    co_return entries;
}

} // namespace VantleClient
