#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

namespace base {

// A cancellation handle for a task. Copies share one state, so the owner keeps one copy and
// hands another to the task; cancel() wakes whatever the task is waiting on.
class Cancel {
    struct State;

public:
    // Keeps a callback registered for as long as it lives.
    class [[nodiscard]] Subscription {
    public:
        Subscription() = default;
        Subscription(Subscription&&) noexcept = default;
        Subscription& operator=(Subscription&& other) noexcept;
        Subscription(const Subscription&) = delete;
        Subscription& operator=(const Subscription&) = delete;
        ~Subscription();
        void reset();

    private:
        friend class Cancel;
        std::weak_ptr<State> state;
        std::uint64_t id = 0;
    };

    Cancel();

    void cancel();
    bool isCancelled() const;

    // Calls fn when the handle is cancelled (and not at all if the subscription ends first).
    // On a handle that is already cancelled, fn is called at once.
    Subscription onCancel(std::function<void()> fn) const;

private:
    struct State {
        bool cancelled = false;
        std::uint64_t next = 1;
        std::map<std::uint64_t, std::function<void()>> callbacks;
    };
    std::shared_ptr<State> state;
};

} // namespace base
