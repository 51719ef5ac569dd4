#include "workspace/MultipartBody.h"
#include "workspace/VantleClient.h"

#include <QFileInfo>

namespace VantleClient {
namespace {

// The platform's word on a file that can't be read, before anything is sent.
std::optional<ClientError> unreadable(const QString& path) {
    MultipartBody probe({}, path, {});
    if (probe.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QFileInfo info(path);
    const QString reason = info.isDir() ? QStringLiteral("Is a directory") : probe.fileError();
    return ClientError::file(QStringLiteral("%1: %2").arg(info.fileName(), reason));
}

// The file part's type: documents go as plain bytes, whatever they are.
enum class Type { document, email };

// Sends one file as the only file part of a multipart body, read from disk as it goes.
QCoro::Task<Result<QJsonObject>> sendFile(QString path, QString endpoint,
                                          QList<std::pair<QByteArray, QByteArray>> fields, Type type,
                                          double timeout) {
    if (const auto error = unreadable(path)) {
        co_return *error;
    }
    const QByteArray boundary = MultipartBody::newBoundary();
    const QByteArray head =
        MultipartBody::head(boundary, fields, path,
                            type == Type::email ? QByteArrayLiteral("message/rfc822")
                                                : QByteArrayLiteral("application/octet-stream"));
    const QByteArray tail = MultipartBody::tail(boundary);
    // Named, not a temporary of the co_await: GCC 12 destroys such a temporary twice.
    std::function<std::unique_ptr<QIODevice>()> body = [head, path, tail]() -> std::unique_ptr<QIODevice> {
        auto device = std::make_unique<MultipartBody>(head, path, tail);
        device->open(QIODevice::ReadOnly);
        return device;
    };
    const QString contentType =
        QStringLiteral("multipart/form-data; boundary=") + QString::fromLatin1(boundary);
    const auto reply = co_await sendStreamed("POST", endpoint, body, contentType, timeout);
    co_return objectOf(reply);
}

QString documentsPath() {
    return QStringLiteral("/api/knowledge/documents");
}

QString forwardPath() {
    return QStringLiteral("/api/inbox/forward");
}

// Every document goes to the knowledge base's "Uploads" folder.
QList<std::pair<QByteArray, QByteArray>> documentFields() {
    return {{QByteArrayLiteral("folder"), QByteArrayLiteral("Uploads")}};
}

} // namespace

QCoro::Task<Result<VantleDocument>> upload(QString path) {
    const auto reply = co_await sendFile(path, documentsPath(), documentFields(), Type::document, 300);
    if (!reply) {
        co_return reply.error();
    }
    const auto document = documentFrom(*reply, path);
    if (!document) {
        co_return ClientError::badResponse();
    }
    co_return *document;
}

QCoro::Task<Result<ForwardedEmail>> forwardEmail(QString path) {
    const auto reply = co_await sendFile(path, forwardPath(), {}, Type::email, 120);
    if (!reply) {
        co_return reply.error();
    }
    co_return emailFrom(*reply, path);
}

} // namespace VantleClient
