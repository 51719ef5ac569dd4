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

    auto* timer = new QTimer;
    timer->setSingleShot(!repeating);
    timer->setInterval(static_cast<int>(std::lround(std::max(0.0, seconds) * 1000.0)));

    QPointer<QTimer> guard(timer);
    entry->stop = [guard] {
        if (guard) {
            guard->stop();
            guard->deleteLater();
        }
    };
    std::weak_ptr<Timer::Entry> weak = entry;
    QObject::connect(timer, &QTimer::timeout, timer, [weak, timer] {
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
