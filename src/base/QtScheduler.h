#pragma once

#include "base/Scheduler.h"

#include <QElapsedTimer>
#include <QObject>

#include <memory>
#include <unordered_map>

namespace base {

// The program's scheduler: one QTimer per call, on the main thread. Qt's coarse timers (within
// 5 % of the period) let the system bundle wake-ups, which keeps an idle figure cheap.
class QtScheduler final : public Scheduler {
public:
    QtScheduler();
    Timer after(double seconds, std::function<void()> fn) override;
    Timer every(double seconds, std::function<void()> fn) override;
    double monotonic() const override;

private:
    Timer start(double seconds, bool repeating, std::function<void()> fn);
    QElapsedTimer elapsed;
    QObject owner;
    std::unordered_map<const Timer::Entry*, std::shared_ptr<Timer::Entry>> live;
};

} // namespace base
