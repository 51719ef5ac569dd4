#include "workspace/VantleNotification.h"

#include "base/Json.h"

namespace {

// The first key when it is present at all, the second only when the first is absent.
std::optional<QString> eitherKey(const QJsonObject& json, const QString& first, const QString& second) {
    return base::json::string(json, json.contains(first) ? first : second);
}

} // namespace

std::optional<VantleNotification> VantleNotification::fromJson(const QJsonObject& json) {
    using namespace base::json;
    const auto id = string(json, QStringLiteral("id"));
    const auto title = string(json, QStringLiteral("title"));
    if (!id || !title) {
        return std::nullopt;
    }
    VantleNotification n;
    n.id = *id;
    n.title = *title;
    n.agentId = eitherKey(json, QStringLiteral("agentId"), QStringLiteral("agent_id"));
    n.message = stringOr(json, QStringLiteral("message"));
    n.tone = stringOr(json, QStringLiteral("tone"), QStringLiteral("info"));
    n.to = string(json, QStringLiteral("to"));
    n.chatSessionId = eitherKey(json, QStringLiteral("chatSessionId"), QStringLiteral("chat_session_id"));
    return n;
}
