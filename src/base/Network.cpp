#include "base/Network.h"

#include <QNetworkAccessManager>

#include <memory>
#include <utility>
#include <vector>

namespace base {

namespace {

QNetworkAccessManager* shared = nullptr;
bool closing = false;

// Requests that were still waiting when the network closed. They are never resumed, as what
// they belong to is going; held here so that they do not count as lost memory at exit.
std::vector<std::coroutine_handle<>>& parked() {
    static auto* handles = new std::vector<std::coroutine_handle<>>;
    return *handles;
}

} // namespace

QNetworkAccessManager& network() {
    if (!shared) {
        shared = new QNetworkAccessManager;
        shared->setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
    }
    return *shared;
}

void closeNetwork() {
    closing = true;
    delete std::exchange(shared, nullptr);
    closing = false;
}

namespace {

// The failure of a reply that ended without our cancel. Qt ends a transfer that its silence
// limit stops as cancelled; that is a time-out here, as a cancel is only ever the caller's.
QNetworkReply::NetworkError failureOf(QNetworkReply::NetworkError error) {
    return error == QNetworkReply::OperationCanceledError ? QNetworkReply::TimeoutError : error;
}

} // namespace

QCoro::Task<HttpResponse> request(QNetworkRequest request, QByteArray verb, QByteArray body, Cancel cancel,
                                  qint64 limit) {
    return response(network().sendCustomRequest(request, verb, body), std::move(cancel), limit);
}

QCoro::Task<HttpResponse> request(QNetworkRequest request, QByteArray verb, std::unique_ptr<QIODevice> body,
                                  Cancel cancel, qint64 limit) {
    QIODevice* device = body.get();
    QNetworkReply* reply = network().sendCustomRequest(request, verb, device);
    // The body is read while the request goes out, and goes with the reply.
    body.release()->setParent(reply);
    return response(reply, std::move(cancel), limit);
}

QCoro::Task<HttpResponse> response(QNetworkReply* sent, Cancel cancel, qint64 limit) {
    std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> reply(
        sent, [](QNetworkReply* r) { r->deleteLater(); });
    // Checked as the bytes come, so that a huge body is never held whole.
    auto tooLarge = std::make_shared<bool>(false);
    QNetworkReply* raw = reply.get();
    QObject::connect(raw, &QNetworkReply::downloadProgress, raw, [raw, tooLarge, limit](qint64 received) {
        if (!*tooLarge && received > limit) {
            *tooLarge = true;
            raw->abort();
        }
    });
    const bool completed = co_await finished(raw, cancel);
    HttpResponse response;
    if (!completed) {
        response.failure = QNetworkReply::OperationCanceledError;
        co_return response;
    }
    if (*tooLarge) {
        response.tooLarge = true;
        response.failure = QNetworkReply::UnknownContentError;
        co_return response;
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        // No HTTP response arrived at all.
        response.failure = reply->error() == QNetworkReply::NoError ? QNetworkReply::UnknownNetworkError
                                                                    : failureOf(reply->error());
        co_return response;
    }
    response.status = status.toInt();
    // A response cut off half-way is no response either.
    const auto error = failureOf(reply->error());
    if (error == QNetworkReply::RemoteHostClosedError || error == QNetworkReply::TimeoutError ||
        error == QNetworkReply::UnknownNetworkError) {
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
        if (closing) {
            parked().push_back(handle);
            return;
        }
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
