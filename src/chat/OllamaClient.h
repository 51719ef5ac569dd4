#pragma once

#include "base/Cancel.h"
#include "base/Result.h"

#include <QCoro/QCoroTask>
#include <QJsonObject>
#include <QList>
#include <QNetworkReply>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <optional>

// The local model server, over plain HTTP at the address in the settings, read at each call.
// No state: calls may overlap freely. Nothing is retried and nothing is logged.
namespace OllamaClient {

struct ChatMessage {
    QString role;
    QString text;
};

// What went wrong; the text is built when read, in the language in force then.
struct ClientError {
    enum class Kind { unreachable, api, noModels, badResponse, transport };

    Kind kind = Kind::badResponse;
    QUrl url;     // unreachable: the server's address
    QString text; // api: the server's message, or "HTTP <status>"
    // transport: what the network layer said (a time-out is TimeoutError).
    QNetworkReply::NetworkError network = QNetworkReply::NoError;

    QString localizedDescription() const;
};

template <typename T> using Result = base::Result<T, ClientError>;

// One chat completion. With `onText` the answer is streamed, and onText hears the whole text so
// far after each piece; without it the answer comes whole. `timeout` is the silence limit in
// seconds, which without streaming bounds the whole answer.
QCoro::Task<Result<QString>> chat(QString model, QString system, QList<ChatMessage> messages,
                                  std::optional<QJsonObject> schema, double timeout,
                                  std::function<void(const QString&)> onText = {}, base::Cancel cancel = {});
// The installed chat models, in the server's order; may be empty.
QCoro::Task<Result<QStringList>> models(base::Cancel cancel = {});
// The stored model name, trimmed, without asking the server; else the first installed model.
QCoro::Task<Result<QString>> resolveModel(QString stored, base::Cancel cancel = {});

} // namespace OllamaClient
