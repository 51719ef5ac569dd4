#pragma once

#include "base/Cancel.h"
#include "base/Result.h"
#include "workspace/ClientError.h"

#include <QCoro/QCoroTask>
#include <QDateTime>
#include <QString>
#include <QUrl>

#include <coroutine>
#include <memory>
#include <optional>
#include <vector>

namespace VantleClient {

// The access token, shared by every call. One exchange runs at a time and everybody who asks
// meanwhile waits for that one. Lives on the main thread.
class TokenStore {
public:
    using TokenResult = base::Result<QString, ClientError>;
    struct Cached {
        QString token;
        QDateTime expires;
        // The workspace address it was exchanged at; it is good for that address alone.
        std::optional<QUrl> workspace;
    };

    static TokenStore& shared();

    // A valid token for the workspace address in force when it is given: the cached one, the
    // one being fetched, or a new exchange's. A token exchanged at an address that has changed
    // meanwhile is never given out; the caller builds its request before it next waits.
    QCoro::Task<TokenResult> token(base::Cancel cancel = {});
    // Throws the token away. A running exchange still answers those who wait for it, but its
    // token is not kept.
    void reset();

    const std::optional<Cached>& cached() const { return current; }
    int generation() const { return gen; }
    bool isExchanging() const { return pending != nullptr; }

private:
    struct Exchange;
    class Waiter;
    QCoro::Task<> run(std::shared_ptr<Exchange> exchange, int startedIn);

    std::optional<Cached> current;
    std::shared_ptr<Exchange> pending;
    int gen = 0;
};

} // namespace VantleClient
