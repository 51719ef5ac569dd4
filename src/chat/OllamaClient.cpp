#include "chat/OllamaClient.h"

namespace OllamaClient {

QString ClientError::localizedDescription() const {
    return text;
}

QCoro::Task<Result<QString>> chat(QString, QString, QList<ChatMessage>, std::optional<QJsonObject>, double,
                                  std::function<void(const QString&)>, base::Cancel) {
    co_return ClientError{};
}

QCoro::Task<Result<QStringList>> models(base::Cancel) {
    co_return ClientError{};
}

QCoro::Task<Result<QString>> resolveModel(QString, base::Cancel) {
    co_return ClientError{};
}

} // namespace OllamaClient
