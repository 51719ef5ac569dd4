#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

// A notification of the workspace.
struct VantleNotification {
    QString id;
    std::optional<QString> agentId;
    QString title;
    QString message;
    QString tone = QStringLiteral("info");
    std::optional<QString> to;
    std::optional<QString> chatSessionId;

    // None unless id and title are strings; every other field has its default.
    static std::optional<VantleNotification> fromJson(const QJsonObject& json);
};
