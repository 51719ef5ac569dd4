#include "base/VirtualScheduler.h"

#include "base/Clock.h"

#include <algorithm>
#include <cmath>

namespace base {

VirtualScheduler::VirtualScheduler(QDateTime start) : origin(std::move(start)) {
    Scheduler::setCurrent(this);
    Clock::setSource([this] { return origin.addMSecs(static_cast<qint64>(std::llround(elapsed * 1000.0))); });
}

VirtualScheduler::~VirtualScheduler() {
    Scheduler::setCurrent(nullptr);
    Clock::setSource({});
    for (auto& [key, slot] : queue) {
        // Nothing will call it now: a repeating timer of this time is over as well.
        slot.entry->stop = nullptr;
        slot.entry->cancelled = true;
    }
}

Timer VirtualScheduler::after(double seconds, std::function<void()> fn) {
    return schedule(seconds, false, std::move(fn));
}

Timer VirtualScheduler::every(double seconds, std::function<void()> fn) {
    return schedule(seconds, true, std::move(fn));
}

Timer VirtualScheduler::schedule(double seconds, bool repeating, std::function<void()> fn) {
    auto entry = std::make_shared<Timer::Entry>();
    entry->fn = std::move(fn);
    entry->repeating = repeating;
    const double interval = std::max(0.0, seconds);
    // A repeating call of period 0 would never let time move; it runs once a millisecond instead.
    const double period = repeating ? std::max(interval, 0.001) : interval;
    const Key key{elapsed + period, sequence++};
    queue.emplace(key, Slot{entry, period});
    entry->stop = [this, key] { queue.erase(key); };
    return Timer(std::move(entry));
}

void VirtualScheduler::advance(double seconds) {
    const double target = elapsed + std::max(0.0, seconds);
    while (!queue.empty() && queue.begin()->first.first <= target) {
        auto node = queue.extract(queue.begin());
        Slot slot = std::move(node.mapped());
        auto& entry = slot.entry;
        elapsed = std::max(elapsed, node.key().first);
        if (entry->repeating) {
            const Key next{elapsed + slot.interval, sequence++};
            entry->stop = [this, next] { queue.erase(next); };
            queue.emplace(next, slot);
            auto fn = entry->fn;
            if (fn) {
                fn();
            }
        } else {
            entry->fired = true;
            entry->stop = nullptr;
            auto fn = std::move(entry->fn);
            if (fn) {
                fn();
            }
        }
    }
    elapsed = target;
}

int VirtualScheduler::pending() const {
    return static_cast<int>(queue.size());
}

} // namespace base
