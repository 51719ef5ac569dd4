#include "base/Network.h"

#include <QNetworkAccessManager>

namespace base {

QNetworkAccessManager& network() {
    static auto* manager = new QNetworkAccessManager;
    return *manager;
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
        if (reply) {
            reply->abort();
        }
        wake = Scheduler::current().after(0, [handle] { handle.resume(); });
    });
}

} // namespace base
