#pragma once

#include <QJsonValue>
#include <QList>
#include <QString>

#include <optional>

// A choice the workspace offers with an answer.
struct ChatChoice {
    QString label;
    std::optional<QString> ref;
    bool operator==(const ChatChoice&) const = default;

    // The choices in a JSON value: strings and objects with a label; anything else is passed over.
    static QList<ChatChoice> list(const QJsonValue& value);
};
