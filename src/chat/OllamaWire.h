#pragma once

#include "chat/OllamaClient.h"

#include <QByteArray>
#include <QNetworkRequest>

// The pieces of the local model's client that its two files share.
namespace OllamaClient::wire {

ClientError unreachable(const QUrl& server);
ClientError api(QString text);
ClientError badResponse();
ClientError transport(QNetworkReply::NetworkError error);

// A failed transfer. A server that isn't there at all, or that hangs up before it answers, is
// unreachable; anything else, a time-out included, is passed on as the network layer said.
ClientError failureOf(QNetworkReply::NetworkError error, bool answered, const QUrl& server);
// The error of a response with a status outside 200 to 299.
ClientError apiError(const QByteArray& body, int status);

// A chat answered line by line as it comes, each piece's whole text handed to onText.
QCoro::Task<Result<QString>> streamed(QNetworkRequest request, QByteArray body, QUrl server,
                                      std::function<void(const QString&)> onText, base::Cancel cancel);

} // namespace OllamaClient::wire
