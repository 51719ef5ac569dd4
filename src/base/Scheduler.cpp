#include "base/Scheduler.h"

#include "base/QtScheduler.h"

namespace base {

Timer::Timer(std::shared_ptr<Entry> e) : entry(std::move(e)) {}

Timer::Timer(Timer&& other) noexcept : entry(std::move(other.entry)) {}

Timer& Timer::operator=(Timer&& other) noexcept {
    if (this != &other) {
        cancel();
        entry = std::move(other.entry);
    }
    return *this;
}

Timer::~Timer() {
    cancel();
}

void Timer::cancel() {
    if (!entry) {
        return;
    }
    auto e = std::move(entry);
    if (!e->cancelled) {
        e->cancelled = true;
        if (e->stop) {
            e->stop();
        }
    }
    // Release what the call captured now rather than when the scheduler gets to it. Schedulers
    // run a copy, so this is safe from inside the call itself.
    e->fn = nullptr;
    e->stop = nullptr;
}

bool Timer::isActive() const {
    return entry && !entry->cancelled && (entry->repeating || !entry->fired);
}

namespace {
Scheduler* installed = nullptr;
}

Scheduler& Scheduler::current() {
    if (installed) {
        return *installed;
    }
    static auto* real = new QtScheduler; // lives as long as the process
    return *real;
}

void Scheduler::setCurrent(Scheduler* scheduler) {
    installed = scheduler;
}

} // namespace base
