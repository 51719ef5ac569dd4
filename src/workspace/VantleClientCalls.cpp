#include "workspace/VantleClient.h"

#include "base/Json.h"

#include <QJsonArray>
#include <QJsonObject>

// The account and chat calls of the workspace client.
namespace VantleClient {
namespace {

const QString json = QStringLiteral("application/json");

} // namespace

QCoro::Task<Result<QJsonObject>> sendForObject(QByteArray method, QString path,
                                               std::optional<QByteArray> data, double timeout,
                                               base::Cancel cancel) {
    const auto reply = co_await send(method, path, data, json, timeout, cancel);
    co_return objectOf(reply);
}

Result<QJsonObject> objectOf(const Result<QByteArray>& reply) {
    if (!reply) {
        return reply.error();
    }
    const auto object = base::json::parseObject(*reply);
    if (!object) {
        return ClientError::badResponse();
    }
    return *object;
}

Result<Identity> identityOf(const QJsonObject& reply) {
    const auto email = base::json::string(reply, QStringLiteral("email"));
    if (!email) {
        return ClientError::badResponse();
    }
    const QString name = base::json::stringOr(reply, QStringLiteral("name"));
    return Identity{name.isEmpty() ? *email : name, *email};
}

QCoro::Task<Result<Identity>> whoAmI() {
    const auto reply = co_await sendForObject("GET", QStringLiteral("/api/auth/me"), std::nullopt, 30);
    if (!reply) {
        co_return reply.error();
    }
    co_return identityOf(*reply);
}

QCoro::Task<Result<bool>> isAdministrator() {
    const auto reply = co_await sendForObject("GET", QStringLiteral("/api/auth/me"), std::nullopt, 30);
    if (!reply) {
        co_return reply.error();
    }
    QStringList roles;
    if (const auto array = base::json::array(*reply, QStringLiteral("roles"))) {
        for (const auto& role : *array) {
            if (!role.isString()) {
                roles.clear();
                break;
            }
            roles << role.toString();
        }
    }
    roles << base::json::stringOr(*reply, QStringLiteral("role"));
    co_return roles.contains(QStringLiteral("admin"));
}

QCoro::Task<Result<QSet<QString>>> enabledAgents() {
    const auto reply = co_await sendForObject("GET", QStringLiteral("/api/agents"), std::nullopt, 30);
    if (!reply) {
        co_return reply.error();
    }
    QSet<QString> ids;
    for (const auto& agent :
         base::json::objectsOnly(*reply, QStringLiteral("agents")).value_or(QList<QJsonObject>{})) {
        if (const auto id = base::json::string(agent, QStringLiteral("id"))) {
            ids.insert(*id);
        }
    }
    co_return ids;
}

QCoro::Task<> markRead(QString notification) {
    const auto ignored = co_await send("POST", QStringLiteral("/api/notifications/%1/read").arg(notification),
                                       std::nullopt, json, 30);
    Q_UNUSED(ignored);
}

QCoro::Task<Result<QString>> createThread(VantleAgent agent) {
    const QJsonObject body{
        {QStringLiteral("kind"), QStringLiteral("agent")},
        {QStringLiteral("participants"),
         QJsonArray{QJsonObject{{QStringLiteral("ref"), VantleAgents::rawValue(agent)},
                                {QStringLiteral("type"), QStringLiteral("agent")}}}},
        {QStringLiteral("title"), QStringLiteral("Mirk Vantle Agents")},
    };
    const auto reply =
        co_await sendForObject("POST", QStringLiteral("/api/chat/threads"), jsonBody(body), 30);
    if (!reply) {
        co_return reply.error();
    }
    const auto id = base::json::string(*reply, QStringLiteral("id"));
    if (!id) {
        co_return ClientError::badResponse();
    }
    co_return *id;
}

QCoro::Task<Result<VantleReply>> turn(QString threadId, QString message, QString turnId,
                                      QStringList attachments, std::optional<QString> choiceRef,
                                      base::Cancel cancel) {
    QJsonObject body{{QStringLiteral("message"), message}, {QStringLiteral("turnId"), turnId}};
    if (!attachments.isEmpty()) {
        body.insert(QStringLiteral("attachmentIds"), QJsonArray::fromStringList(attachments));
    }
    if (choiceRef) {
        body.insert(QStringLiteral("choiceRef"), *choiceRef);
    }
    const auto reply = co_await sendForObject(
        "POST", QStringLiteral("/api/chat/threads/%1/turn").arg(threadId), jsonBody(body), 300, cancel);
    if (!reply) {
        co_return reply.error();
    }
    const auto text = base::json::string(*reply, QStringLiteral("reply"));
    if (!text) {
        co_return ClientError::badResponse();
    }
    QString confirmed = threadId;
    if (const auto thread = base::json::object(*reply, QStringLiteral("thread"))) {
        confirmed = base::json::string(*thread, QStringLiteral("id")).value_or(threadId);
    }
    co_return VantleReply{confirmed, *text};
}

QCoro::Task<Result<NotificationThread>> thread(QString notification) {
    const auto created = co_await sendForObject(
        "POST", QStringLiteral("/api/chat/threads/from-notification/%1").arg(notification), std::nullopt, 30);
    if (!created) {
        co_return created.error();
    }
    const auto id = base::json::string(*created, QStringLiteral("id"));
    if (!id) {
        co_return ClientError::badResponse();
    }
    const auto listing = co_await sendForObject(
        "GET", QStringLiteral("/api/chat/threads/%1/messages?limit=20").arg(*id), std::nullopt, 30);
    if (!listing) {
        co_return listing.error();
    }
    const auto messages =
        base::json::objectsOnly(*listing, QStringLiteral("messages")).value_or(QList<QJsonObject>{});
    auto isAgent = [](const QJsonObject& m) {
        return base::json::string(m, QStringLiteral("authorType")) == QStringLiteral("agent");
    };
    std::optional<QJsonObject> agentMessage;
    for (const auto& m : messages) {
        if (isAgent(m)) {
            agentMessage = m;
        }
    }
    NotificationThread result;
    result.threadId = *id;
    result.agentId = base::json::string(*created, QStringLiteral("agentId"));
    if (agentMessage) {
        result.lastMessage = base::json::string(*agentMessage, QStringLiteral("text"));
        if (isAgent(messages.last())) {
            const auto meta = base::json::object(*agentMessage, QStringLiteral("meta"));
            result.options =
                meta ? ChatChoice::list(meta->value(QStringLiteral("options"))) : QList<ChatChoice>{};
        }
    }
    co_return result;
}

} // namespace VantleClient
