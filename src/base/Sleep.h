#pragma once

#include "base/Cancel.h"
#include "base/Scheduler.h"

#include <coroutine>

namespace base {

// co_await sleep(seconds, cancel): resumes after the delay, on the current scheduler, or on the
// next turn of the loop once the handle is cancelled. Yields true when the full delay passed.
class SleepAwaiter {
public:
    SleepAwaiter(double seconds, Cancel cancel) : seconds(seconds), cancel(std::move(cancel)) {}
    // Moved only before it is awaited; once suspended it stays put.
    SleepAwaiter(SleepAwaiter&&) = default;
    SleepAwaiter& operator=(SleepAwaiter&&) = delete;

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle);
    bool await_resume() const noexcept { return !cancel.isCancelled(); }

private:
    double seconds;
    Cancel cancel;
    Timer timer;
    Cancel::Subscription subscription;
};

inline SleepAwaiter sleep(double seconds, Cancel cancel = {}) {
    return SleepAwaiter(seconds, std::move(cancel));
}

} // namespace base
