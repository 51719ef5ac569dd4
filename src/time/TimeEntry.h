#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>

// One time entry of the workspace, as it came over the wire.
struct TimeEntry {
    QString id;
    std::optional<QString> projectId;
    std::optional<QString> taskId;
    std::optional<QString> projectName;
    std::optional<QString> taskLabel;
    std::optional<QString> note;
    std::optional<QDateTime> startedAt;
    std::optional<qint64> durationSeconds;

    // None only when "id" is missing or no string; any other field of the wrong type is absent.
    static std::optional<TimeEntry> fromJson(const QJsonObject& json);
    // The workspace's ISO 8601 dates, with fractions of a second of any length dropped. A time
    // zone is required.
    static std::optional<QDateTime> date(const QString& text);

    // What the user sees for the entry: project and task, else the note, else a placeholder.
    QString label() const;
};
