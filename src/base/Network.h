#pragma once

#include "base/Cancel.h"
#include "base/Scheduler.h"

#include <QCoro/QCoroTask>
#include <QMetaObject>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QUrl>

#include <optional>

#include <coroutine>

class QNetworkAccessManager;

namespace base {

// The process's one network manager. It follows no redirect: the key or token of a request must
// not travel on to another host, so a 3xx comes back to the caller as it stands.
QNetworkAccessManager& network();

// Ends the manager while the application still stands, so that Qt's transfer thread stops before
// the rest of Qt goes. Requests still waiting are dropped and never resumed: what they belong to
// is going too. Called at the end of the program; a request after it has a new manager.
void closeNetwork();

// The address of `path` under `base`, joined as text. The base is taken in its encoded form, so
// that its escapes reach the server as they were written; invalid when the result doesn't parse.
QUrl appended(const QUrl& base, const QString& path);

// Whether a host name is this computer, the only place reached without encryption.
bool isThisComputer(const QString& host);

// co_await finished(reply, cancel): resumes when the reply has finished or was deleted. A cancel
// aborts the reply and resumes on the next turn of the loop. Yields false when cancelled. The
// reply stays the caller's to delete.
class ReplyAwaiter {
public:
    ReplyAwaiter(QNetworkReply* reply, Cancel cancel) : reply(reply), cancel(std::move(cancel)) {}
    // Moved only before it is awaited; once suspended it stays put.
    ReplyAwaiter(ReplyAwaiter&&) = default;
    ReplyAwaiter& operator=(ReplyAwaiter&&) = delete;

    bool await_ready() const noexcept { return !reply || reply->isFinished(); }
    void await_suspend(std::coroutine_handle<> handle);
    bool await_resume() const noexcept { return !cancel.isCancelled(); }

private:
    void disconnect();

    QPointer<QNetworkReply> reply;
    Cancel cancel;
    Cancel::Subscription subscription;
    QMetaObject::Connection finishedConnection;
    QMetaObject::Connection destroyedConnection;
    Timer wake;
};

// What came back from one request: the status and body of an HTTP response, or the failure of
// the transport (no response at all, a time-out, a cancel, a body too large to take).
struct HttpResponse {
    int status = 0;
    QByteArray body;
    std::optional<QNetworkReply::NetworkError> failure;
    // The body grew past the limit and the transfer was stopped there.
    bool tooLarge = false;
    bool ok() const { return !failure && status >= 200 && status < 300; }
};

// How much of one reply is taken into memory.
inline constexpr qint64 replyLimit = 8 * 1024 * 1024;

// Sends one request on the shared manager and waits for the whole reply. A reply that the
// request's silence limit ends fails with TimeoutError; OperationCanceledError means that
// `cancel` was cancelled, nothing else. A body that passes `limit` bytes is cut off as soon as
// it does, and fails as tooLarge.
QCoro::Task<HttpResponse> request(QNetworkRequest request, QByteArray verb, QByteArray body = {},
                                  Cancel cancel = {}, qint64 limit = replyLimit);
// The same with a body read from a device as it goes out, so that a large body is never held
// whole. The device must know its size; it is deleted with the reply.
QCoro::Task<HttpResponse> request(QNetworkRequest request, QByteArray verb, std::unique_ptr<QIODevice> body,
                                  Cancel cancel = {}, qint64 limit = replyLimit);
// Waits for the whole reply of a request already sent, and takes it over.
QCoro::Task<HttpResponse> response(QNetworkReply* reply, Cancel cancel = {}, qint64 limit = replyLimit);

inline ReplyAwaiter finished(QNetworkReply* reply, Cancel cancel = {}) {
    return ReplyAwaiter(reply, std::move(cancel));
}

} // namespace base
