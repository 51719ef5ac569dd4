#include "workspace/TokenStore.h"

#include "app/Settings.h"
#include "base/Clock.h"
#include "base/Scheduler.h"
#include "workspace/VantleClientExchange.h"

#include <algorithm>

namespace VantleClient {

struct TokenStore::Exchange {
    std::optional<QUrl> workspace;
    std::optional<TokenResult> result;
    std::vector<std::coroutine_handle<>> waiting;

    void finish(TokenResult value) {
        result = std::move(value);
        // Resuming may start new exchanges or end subscriptions; work from a copy.
        const auto handles = std::exchange(waiting, {});
        for (auto handle : handles) {
            handle.resume();
        }
    }
};

// Waits for an exchange's result; a cancel lets the waiter go early.
class TokenStore::Waiter {
public:
    Waiter(std::shared_ptr<Exchange> e, base::Cancel c) : exchange(std::move(e)), cancel(std::move(c)) {}
    Waiter(Waiter&&) = default;

    bool await_ready() const noexcept { return exchange->result.has_value() || cancel.isCancelled(); }
    void await_suspend(std::coroutine_handle<> handle) {
        exchange->waiting.push_back(handle);
        subscription = cancel.onCancel([this, handle] {
            auto& list = exchange->waiting;
            list.erase(std::remove(list.begin(), list.end(), handle), list.end());
            wake = base::Scheduler::current().after(0, [handle] { handle.resume(); });
        });
    }
    TokenResult await_resume() {
        subscription.reset();
        if (exchange->result && !cancel.isCancelled()) {
            return *exchange->result;
        }
        return ClientError::cancelled();
    }

private:
    std::shared_ptr<Exchange> exchange;
    base::Cancel cancel;
    base::Cancel::Subscription subscription;
    base::Timer wake;
};

TokenStore& TokenStore::shared() {
    static auto* instance = new TokenStore; // lives as long as the process
    return *instance;
}

QCoro::Task<TokenStore::TokenResult> TokenStore::token(base::Cancel cancel) {
    // A switch of workspace while an exchange runs costs one more exchange; more switches than
    // that in a row leave the caller unconnected for now.
    for (int attempt = 0; attempt < 3; ++attempt) {
        const auto workspace = Settings::vantleURL();
        if (current && current->workspace == workspace && current->expires > base::Clock::now()) {
            // Returned as a new value: QCoro 0.8 moves from an lvalue of another type that is
            // co_returned, which would empty the cache.
            co_return TokenResult(QString(current->token));
        }
        if (pending && pending->workspace != workspace) {
            pending.reset();
            current.reset();
            ++gen;
        }
        // Held here, since an exchange that fails at once has already left `pending` on return.
        auto exchange = pending;
        if (!exchange) {
            exchange = std::make_shared<Exchange>();
            exchange->workspace = workspace;
            pending = exchange;
            run(exchange, gen);
        }
        auto result = co_await Waiter(exchange, cancel);
        if (!result || exchange->workspace == Settings::vantleURL()) {
            co_return result;
        }
    }
    co_return ClientError::notConnected();
}

QCoro::Task<> TokenStore::run(std::shared_ptr<Exchange> exchange, int startedIn) {
    auto result = co_await VantleClient::exchange();
    TokenResult outcome = result ? TokenResult(result->token) : TokenResult(result.error());
    if (result && gen == startedIn) {
        const double lifetime = std::max(result->expiresIn - 60.0, 30.0);
        current = Cached{result->token, base::Clock::now().addMSecs(static_cast<qint64>(lifetime * 1000.0)),
                         exchange->workspace};
        // From now on a refusal of this key means it was withdrawn, not mistyped.
        Settings::setValue(QLatin1String(Settings::Key::keyWorked), true);
    }
    if (gen == startedIn && pending == exchange) {
        pending.reset();
    }
    exchange->finish(std::move(outcome));
}

void TokenStore::reset() {
    current.reset();
    pending.reset();
    ++gen;
}

} // namespace VantleClient
