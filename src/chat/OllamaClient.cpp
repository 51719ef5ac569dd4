#include "chat/OllamaClient.h"

#include "app/Settings.h"
#include "base/Json.h"
#include "base/Network.h"
#include "base/Text.h"
#include "chat/OllamaWire.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <limits>

namespace OllamaClient {

QString ClientError::localizedDescription() const {
    switch (kind) {
    case Kind::unreachable:
        return base::pick(QStringLiteral("Can't reach Ollama at ") + url.toString() +
                              QStringLiteral(". Is it running? (ollama serve)"),
                          QStringLiteral("Ollama ei vasta aadressil ") + url.toString() +
                              QStringLiteral(". Kas see töötab? (ollama serve)"));
    case Kind::api:
        return QStringLiteral("Ollama: ") + text;
    case Kind::noModels:
        return base::pick(QStringLiteral("Ollama has no chat models installed. Try: ollama pull llama3.2"),
                          QStringLiteral("Ollamas pole ühtki vestlusmudelit. Proovi: ollama pull llama3.2"));
    case Kind::badResponse:
        return base::pick(QStringLiteral("Unexpected response from Ollama"),
                          QStringLiteral("Ollama vastas ootamatult"));
    case Kind::transport:
        break;
    }
    if (network == QNetworkReply::TimeoutError) {
        return base::pick(QStringLiteral("Ollama did not answer in time."),
                          QStringLiteral("Ollama ei vastanud õigel ajal."));
    }
    return base::pick(QStringLiteral("The connection to Ollama failed."),
                      QStringLiteral("Ühendus Ollamaga katkes."));
}

namespace {

ClientError errorOf(ClientError::Kind kind) {
    ClientError error;
    error.kind = kind;
    return error;
}

} // namespace

namespace wire {

ClientError unreachable(const QUrl& server) {
    ClientError error = errorOf(ClientError::Kind::unreachable);
    error.url = server;
    return error;
}

ClientError api(QString text) {
    ClientError error = errorOf(ClientError::Kind::api);
    error.text = std::move(text);
    return error;
}

ClientError badResponse() {
    return errorOf(ClientError::Kind::badResponse);
}

ClientError transport(QNetworkReply::NetworkError network) {
    ClientError error = errorOf(ClientError::Kind::transport);
    error.network = network;
    return error;
}

ClientError failureOf(QNetworkReply::NetworkError error, bool answered, const QUrl& server) {
    const bool absent = error == QNetworkReply::ConnectionRefusedError ||
                        error == QNetworkReply::HostNotFoundError ||
                        (error == QNetworkReply::RemoteHostClosedError && !answered);
    return absent ? unreachable(server) : transport(error);
}

ClientError apiError(const QByteArray& body, int status) {
    const auto object = base::json::parseObject(body);
    const auto message = object ? base::json::string(*object, QStringLiteral("error")) : std::nullopt;
    return api(message ? *message : QStringLiteral("HTTP %1").arg(status));
}

} // namespace wire

namespace {

using namespace wire;

// The address of one call: the path goes under the server's address as one more component.
QUrl endpoint(const QUrl& server, const QString& path) {
    return base::appended(server, server.path().endsWith(QLatin1Char('/')) ? path : QLatin1Char('/') + path);
}

// A request with its limit on silence, in seconds. No key goes with it: the server is local.
QNetworkRequest requestFor(const QUrl& url, double timeout) {
    QNetworkRequest request(url);
    const double ms = std::clamp(timeout * 1000.0, 1.0, double(std::numeric_limits<int>::max()));
    request.setTransferTimeout(static_cast<int>(ms));
    return request;
}

// One whole request on the shared manager: the body of a response in 200 to 299.
QCoro::Task<Result<QByteArray>> send(QNetworkRequest request, QByteArray verb, QByteArray body, QUrl server,
                                     base::Cancel cancel) {
    const auto response = co_await base::request(request, verb, body, cancel);
    if (response.tooLarge) {
        co_return badResponse();
    }
    if (response.failure) {
        co_return failureOf(*response.failure, response.status != 0, server);
    }
    if (!response.ok()) {
        co_return apiError(response.body, response.status);
    }
    co_return response.body;
}

// The chat's body, its keys sorted. The system prompt always leads, even when it is empty.
QByteArray chatBody(const QString& model, const QString& system, const QList<ChatMessage>& messages,
                    const std::optional<QJsonObject>& schema, bool stream) {
    QJsonArray list{
        QJsonObject{{QStringLiteral("role"), QStringLiteral("system")}, {QStringLiteral("content"), system}}};
    for (const ChatMessage& message : messages) {
        list.append(
            QJsonObject{{QStringLiteral("role"), message.role}, {QStringLiteral("content"), message.text}});
    }
    QJsonObject body{{QStringLiteral("messages"), list},
                     {QStringLiteral("model"), model},
                     {QStringLiteral("stream"), stream},
                     {QStringLiteral("think"), false}};
    if (schema) {
        body.insert(QStringLiteral("format"), *schema);
    }
    return QJsonDocument(body).toJson(QJsonDocument::Compact);
}

// The text of a whole answer: message.content, as it stands, and never empty.
Result<QString> answerOf(const QByteArray& body) {
    const auto object = base::json::parseObject(body);
    const auto message = object ? base::json::object(*object, QStringLiteral("message")) : std::nullopt;
    const auto content = message ? base::json::string(*message, QStringLiteral("content")) : std::nullopt;
    if (!content || content->isEmpty()) {
        return badResponse();
    }
    return *content;
}

// A model that lists its capabilities must list "completion"; one that says nothing, or nothing
// readable, is taken for a chat model.
bool canChat(const QJsonObject& model) {
    const auto capabilities = base::json::array(model, QStringLiteral("capabilities"));
    if (!capabilities) {
        return true;
    }
    bool completion = false;
    for (const QJsonValue& capability : *capabilities) {
        if (!capability.isString()) {
            return true;
        }
        completion = completion || capability.toString() == QLatin1String("completion");
    }
    return completion;
}

Result<QStringList> modelNames(const QByteArray& body) {
    const auto object = base::json::parseObject(body);
    const auto entries = object ? base::json::array(*object, QStringLiteral("models")) : std::nullopt;
    if (!entries) {
        return badResponse();
    }
    QStringList names;
    for (const QJsonValue& entry : *entries) {
        if (!entry.isObject()) {
            return badResponse();
        }
        const auto name = base::json::string(entry.toObject(), QStringLiteral("name"));
        if (name && canChat(entry.toObject())) {
            names.append(*name);
        }
    }
    return names;
}

} // namespace

QCoro::Task<Result<QString>> chat(QString model, QString system, QList<ChatMessage> messages,
                                  std::optional<QJsonObject> schema, double timeout,
                                  std::function<void(const QString&)> onText, base::Cancel cancel) {
    const QUrl server = Settings::ollamaURL();
    QNetworkRequest request = requestFor(endpoint(server, QStringLiteral("api/chat")), timeout);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    const QByteArray body = chatBody(model, system, messages, schema, bool(onText));
    if (onText) {
        co_return co_await streamed(request, body, server, std::move(onText), std::move(cancel));
    }
    const auto reply = co_await send(request, "POST", body, server, std::move(cancel));
    if (!reply) {
        co_return reply.error();
    }
    co_return answerOf(*reply);
}

QCoro::Task<Result<QStringList>> models(base::Cancel cancel) {
    const QUrl server = Settings::ollamaURL();
    const auto reply =
        co_await send(requestFor(endpoint(server, QStringLiteral("api/tags")), 5), "GET", {}, server, cancel);
    if (!reply) {
        co_return reply.error();
    }
    co_return modelNames(*reply);
}

QCoro::Task<Result<QString>> resolveModel(QString stored, base::Cancel cancel) {
    const QString name = stored.trimmed();
    if (!name.isEmpty()) {
        co_return name;
    }
    const auto installed = co_await models(std::move(cancel));
    if (!installed) {
        co_return installed.error();
    }
    if (installed->isEmpty()) {
        co_return errorOf(ClientError::Kind::noModels);
    }
    co_return installed->first();
}

} // namespace OllamaClient
