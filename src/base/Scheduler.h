#pragma once

#include <functional>
#include <memory>

namespace base {

class Scheduler;

// A scheduled call. The handle owns it: destroying or reassigning the handle cancels the call,
// so an object that keeps its timers as members can never be called after it has gone.
class [[nodiscard]] Timer {
public:
    struct Entry;

    Timer() = default;
    explicit Timer(std::shared_ptr<Entry> entry);
    Timer(Timer&& other) noexcept;
    Timer& operator=(Timer&& other) noexcept;
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    ~Timer();

    void cancel();
    // True while the call is still to come (a repeating timer stays active until cancelled).
    bool isActive() const;

private:
    std::shared_ptr<Entry> entry;
};

// Every delay in the program's logic goes through the scheduler: QTimer on the main thread in
// the program, virtual time in tests. All calls run on the main thread.
class Scheduler {
public:
    virtual ~Scheduler() = default;

    // Calls fn once, after the given number of seconds (0: on the next turn of the loop).
    virtual Timer after(double seconds, std::function<void()> fn) = 0;
    // Calls fn every interval seconds, the first time after one interval.
    virtual Timer every(double seconds, std::function<void()> fn) = 0;
    // Seconds on a monotonic clock, for measuring elapsed time.
    virtual double monotonic() const = 0;

    // The scheduler in use; the real one unless a test installed another.
    static Scheduler& current();
    // Installs a scheduler (tests); nullptr restores the real one.
    static void setCurrent(Scheduler* scheduler);
};

// Shared state of one scheduled call, held by its handle and by the scheduler.
struct Timer::Entry {
    std::function<void()> fn;
    std::function<void()> stop; // tells the scheduler to drop the call
    bool repeating = false;
    bool cancelled = false;
    bool fired = false;
};

} // namespace base
