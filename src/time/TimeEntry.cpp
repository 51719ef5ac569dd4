#include "time/TimeEntry.h"

#include "base/Json.h"
#include "base/Text.h"

#include <QRegularExpression>
#include <QStringList>

namespace {

// An empty text counts as absent, so the label never shows a blank part.
std::optional<QString> nonEmpty(const QJsonObject& json, const QString& key) {
    auto value = base::json::string(json, key);
    if (value && value->isEmpty()) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::optional<TimeEntry> TimeEntry::fromJson(const QJsonObject& json) {
    const auto id = base::json::string(json, QStringLiteral("id"));
    if (!id) {
        return std::nullopt;
    }
    TimeEntry entry;
    entry.id = *id;
    entry.projectId = base::json::string(json, QStringLiteral("project_id"));
    entry.taskId = base::json::string(json, QStringLiteral("task_id"));
    entry.projectName = nonEmpty(json, QStringLiteral("project_name"));
    entry.taskLabel = nonEmpty(json, QStringLiteral("task_label"));
    entry.note = nonEmpty(json, QStringLiteral("note"));
    if (const auto started = base::json::string(json, QStringLiteral("started_at"))) {
        entry.startedAt = date(*started);
    }
    entry.durationSeconds = base::json::integer64(json, QStringLiteral("duration_seconds"));
    return entry;
}

std::optional<QDateTime> TimeEntry::date(const QString& text) {
    static const QRegularExpression fraction(QStringLiteral("\\.\\d+"));
    static const QRegularExpression shape(
        QStringLiteral("^\\d{4}-\\d{2}-\\d{2}T\\d{2}:\\d{2}:\\d{2}(Z|[+-]\\d{2}:?\\d{2})$"));
    QString whole = text;
    whole.remove(fraction);
    if (!shape.match(whole).hasMatch()) {
        return std::nullopt;
    }
    const QDateTime parsed = QDateTime::fromString(whole, Qt::ISODate);
    if (!parsed.isValid()) {
        return std::nullopt;
    }
    return parsed;
}

QString TimeEntry::label() const {
    QStringList parts;
    if (projectName) {
        parts << *projectName;
    }
    if (taskLabel) {
        parts << *taskLabel;
    }
    if (!parts.isEmpty()) {
        return parts.join(QStringLiteral(" · "));
    }
    if (note) {
        return *note;
    }
    return base::pick(QStringLiteral("Without a project"), QStringLiteral("Projektita"));
}
