#pragma once

#include <QNetworkReply>
#include <QString>

namespace VantleClient {

// What went wrong with a workspace call. The text is built when it is read, so it speaks the
// language in force at that moment.
struct ClientError {
    enum class Kind { api, notConnected, keyEnded, badResponse, transport, file };

    Kind kind = Kind::badResponse;
    // The message of an api error, as the workspace or the status gave it; for a file that
    // couldn't be read, the file's name and the system's reason.
    QString text;
    // For transport failures: what the network layer said.
    QNetworkReply::NetworkError network = QNetworkReply::NoError;

    static ClientError api(QString text) { return {Kind::api, std::move(text), QNetworkReply::NoError}; }
    static ClientError notConnected() { return {Kind::notConnected, {}, QNetworkReply::NoError}; }
    static ClientError keyEnded() { return {Kind::keyEnded, {}, QNetworkReply::NoError}; }
    static ClientError badResponse() { return {Kind::badResponse, {}, QNetworkReply::NoError}; }
    static ClientError transport(QNetworkReply::NetworkError error) { return {Kind::transport, {}, error}; }
    static ClientError cancelled() { return transport(QNetworkReply::OperationCanceledError); }
    static ClientError file(QString text) { return {Kind::file, std::move(text), QNetworkReply::NoError}; }

    // The caller's own cancel, which shows nothing; a time-out is a TimeoutError, never this.
    bool isCancelled() const {
        return kind == Kind::transport && network == QNetworkReply::OperationCanceledError;
    }
    QString localizedDescription() const;
};

} // namespace VantleClient
