#include "base/Sleep.h"

namespace base {

void SleepAwaiter::await_suspend(std::coroutine_handle<> handle) {
    auto resume = [this, handle] {
        subscription.reset();
        handle.resume();
    };
    auto& scheduler = Scheduler::current();
    timer = scheduler.after(seconds, resume);
    // Waking through the scheduler, never from inside cancel(), keeps the canceller's stack
    // free of the task's continuation.
    subscription = cancel.onCancel([this, resume, &scheduler] { timer = scheduler.after(0, resume); });
}

} // namespace base
