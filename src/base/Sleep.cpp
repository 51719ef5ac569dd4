#include "base/Sleep.h"

namespace base {

void SleepAwaiter::await_suspend(std::coroutine_handle<> handle) {
    auto resume = [this, handle] {
        subscription.reset();
        handle.resume();
    };
    timer = Scheduler::current().after(seconds, resume);
    // Waking through the scheduler, never from inside cancel(), keeps the canceller's stack
    // free of the task's continuation. The scheduler is the one current at the cancel: the one
    // the sleep began on may be gone by then.
    subscription = cancel.onCancel([this, resume] { timer = Scheduler::current().after(0, resume); });
}

} // namespace base
