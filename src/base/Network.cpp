#include "base/Network.h"

#include <QNetworkAccessManager>

#include <memory>

namespace base {

QNetworkAccessManager& network() {
    static auto* manager = new QNetworkAccessManager;
    return *manager;
}

QCoro::Task<HttpResponse> request(QNetworkRequest request, QByteArray verb, QByteArray body, Cancel cancel) {
    std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> reply(
        network().sendCustomRequest(request, verb, body), [](QNetworkReply* r) { r->deleteLater(); });
    const bool completed = co_await finished(reply.get(), cancel);
    HttpResponse response;
    if (!completed) {
        response.failure = QNetworkReply::OperationCanceledError;
        co_return response;
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        // No HTTP response arrived at all.
        response.failure =
            reply->error() == QNetworkReply::NoError ? QNetworkReply::UnknownNetworkError : reply->error();
        co_return response;
    }
    response.status = status.toInt();
    // A response cut off half-way is no response either.
    const auto error = reply->error();
    if (error == QNetworkReply::RemoteHostClosedError || error == QNetworkReply::OperationCanceledError ||
        error == QNetworkReply::TimeoutError || error == QNetworkReply::UnknownNetworkError) {
        response.failure = error;
        co_return response;
    }
    response.body = reply->readAll();
    co_return response;
}

void ReplyAwaiter::disconnect() {
    QObject::disconnect(finishedConnection);
    QObject::disconnect(destroyedConnection);
    subscription.reset();
}

void ReplyAwaiter::await_suspend(std::coroutine_handle<> handle) {
    auto done = [this, handle] {
        disconnect();
        handle.resume();
    };
    finishedConnection = QObject::connect(reply, &QNetworkReply::finished, done);
    destroyedConnection = QObject::connect(reply, &QObject::destroyed, done);
    subscription = cancel.onCancel([this, handle] {
        disconnect();
        if (reply && !reply->isFinished()) {
            reply->abort();
        }
        wake = Scheduler::current().after(0, [handle] { handle.resume(); });
    });
}

} // namespace base
