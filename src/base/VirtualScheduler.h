#pragma once

#include "base/Scheduler.h"

#include <QDateTime>

#include <algorithm>
#include <cstdint>
#include <map>
#include <utility>

namespace base {

// Virtual time for tests. Nothing fires until advance() is called; then every call that falls
// due fires in order of its deadline, calls with equal deadlines in the order they were made.
// While it exists it is the current scheduler and drives base::Clock.
class VirtualScheduler final : public Scheduler {
public:
    explicit VirtualScheduler(QDateTime start = QDateTime(QDate(2026, 3, 2), QTime(9, 0)));
    ~VirtualScheduler() override;
    VirtualScheduler(const VirtualScheduler&) = delete;
    VirtualScheduler& operator=(const VirtualScheduler&) = delete;

    Timer after(double seconds, std::function<void()> fn) override;
    Timer every(double seconds, std::function<void()> fn) override;
    double monotonic() const override { return elapsed; }

    // Moves time forward, firing what falls due on the way, including calls made by the calls.
    void advance(double seconds);
    // Moves time forward with nothing firing on the way, as for a process that was stopped or a
    // machine that slept; what fell due fires, once, at the next advance.
    void stall(double seconds) { elapsed += std::max(0.0, seconds); }
    // Seconds since the scheduler was made.
    double seconds() const { return elapsed; }
    // Number of calls still to come.
    int pending() const;

private:
    struct Slot {
        std::shared_ptr<Timer::Entry> entry;
        double interval;
    };
    using Key = std::pair<double, std::uint64_t>;

    Timer schedule(double seconds, bool repeating, std::function<void()> fn);

    QDateTime origin;
    double elapsed = 0;
    std::uint64_t sequence = 0;
    std::map<Key, Slot> queue;
};

} // namespace base
