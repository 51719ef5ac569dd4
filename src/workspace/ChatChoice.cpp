#include "workspace/ChatChoice.h"

#include "base/Json.h"

#include <QJsonArray>
#include <QJsonObject>

QList<ChatChoice> ChatChoice::list(const QJsonValue& value) {
    QList<ChatChoice> choices;
    if (!value.isArray()) {
        return choices;
    }
    for (const auto& element : value.toArray()) {
        if (element.isString()) {
            if (!element.toString().isEmpty()) {
                choices.append({element.toString(), std::nullopt});
            }
        } else if (element.isObject()) {
            const auto o = element.toObject();
            const auto label = base::json::stringOr(o, QStringLiteral("label"));
            if (label.isEmpty()) {
                continue;
            }
            auto ref = base::json::string(o, QStringLiteral("ref"));
            if (ref && ref->isEmpty()) {
                ref.reset();
            }
            choices.append({label, ref});
        }
    }
    return choices;
}
