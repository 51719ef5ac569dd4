#include "base/QtScheduler.h"

#include <QPointer>
#include <QTimer>

#include <cmath>

namespace base {

QtScheduler::QtScheduler() {
    elapsed.start();
}

Timer QtScheduler::after(double seconds, std::function<void()> fn) {
    return start(seconds, false, std::move(fn));
}

Timer QtScheduler::every(double seconds, std::function<void()> fn) {
    return start(seconds, true, std::move(fn));
}

double QtScheduler::monotonic() const {
    return elapsed.nsecsElapsed() / 1e9;
}

Timer QtScheduler::start(double seconds, bool repeating, std::function<void()> fn) {
    auto entry = std::make_shared<Timer::Entry>();
    entry->fn = std::move(fn);
    entry->repeating = repeating;

    // The scheduler holds every call still to come, and its timer, so that a task waiting on
    // one is never left unreachable.
    auto* timer = new QTimer(&owner);
    live.emplace(entry.get(), entry);
    timer->setSingleShot(!repeating);
    timer->setInterval(static_cast<int>(std::lround(std::max(0.0, seconds) * 1000.0)));

    QPointer<QTimer> guard(timer);
    const Timer::Entry* key = entry.get();
    entry->stop = [this, guard, key] {
        if (guard) {
            guard->stop();
            guard->deleteLater();
        }
        live.erase(key);
    };
    std::weak_ptr<Timer::Entry> weak = entry;
    QObject::connect(timer, &QTimer::timeout, timer, [this, weak, timer, key] {
        auto e = weak.lock();
        if (!e || e->cancelled) {
            timer->stop();
            timer->deleteLater();
            return;
        }
        if (!e->repeating) {
            e->fired = true;
            e->stop = nullptr;
            auto fn = std::move(e->fn);
            timer->deleteLater();
            live.erase(key);
            if (fn) {
                fn();
            }
            return;
        }
        auto fn = e->fn;
        if (fn) {
            fn();
        }
    });
    timer->start();
    return Timer(std::move(entry));
}

} // namespace base
