#include "base/Cancel.h"
#include "base/Clock.h"
#include "base/Sleep.h"
#include "base/VirtualScheduler.h"

#include <QCoro/QCoroTask>

#include <gtest/gtest.h>

#include <optional>
#include <vector>

using base::VirtualScheduler;

TEST(VirtualScheduler, FiresInOrderOfDeadlineAndEqualDeadlinesInOrderMade) {
    VirtualScheduler scheduler;
    std::vector<int> fired;
    auto late = scheduler.after(2.0, [&] { fired.push_back(3); });
    auto first = scheduler.after(1.0, [&] { fired.push_back(1); });
    auto second = scheduler.after(1.0, [&] { fired.push_back(2); });

    scheduler.advance(0.999);
    EXPECT_TRUE(fired.empty());
    scheduler.advance(0.001);
    EXPECT_EQ(fired, (std::vector<int>{1, 2}));
    EXPECT_FALSE(first.isActive());
    EXPECT_TRUE(late.isActive());
    scheduler.advance(5);
    EXPECT_EQ(fired, (std::vector<int>{1, 2, 3}));
    EXPECT_DOUBLE_EQ(scheduler.seconds(), 6.0);
}

TEST(VirtualScheduler, RepeatsCancelsAndRunsCallsMadeByCalls) {
    VirtualScheduler scheduler;
    std::vector<double> ticks;
    base::Timer repeating;
    repeating = scheduler.every(10, [&] {
        ticks.push_back(scheduler.seconds());
        if (ticks.size() == 3) {
            repeating.cancel(); // from inside its own call
        }
    });
    std::vector<double> chained;
    base::Timer inner;
    auto outer = scheduler.after(1, [&] {
        chained.push_back(scheduler.seconds());
        inner = scheduler.after(0, [&] { chained.push_back(scheduler.seconds()); });
    });

    scheduler.advance(100);
    EXPECT_EQ(ticks, (std::vector<double>{10, 20, 30}));
    EXPECT_EQ(chained, (std::vector<double>{1, 1}));
    EXPECT_EQ(scheduler.pending(), 0);

    // A handle that goes away takes its call with it.
    bool called = false;
    {
        auto dropped = scheduler.after(1, [&] { called = true; });
    }
    // Cancelling one call from another due at the same moment stops it.
    bool secondCalled = false;
    base::Timer victim;
    auto killer = scheduler.after(1, [&] { victim.cancel(); });
    victim = scheduler.after(1, [&] { secondCalled = true; });
    scheduler.advance(2);
    EXPECT_FALSE(called);
    EXPECT_FALSE(secondCalled);
}

TEST(VirtualScheduler, DrivesTheClock) {
    const QDateTime start(QDate(2026, 5, 4), QTime(17, 29, 30));
    {
        VirtualScheduler scheduler(start);
        EXPECT_EQ(base::Clock::now(), start);
        scheduler.advance(45.5);
        EXPECT_EQ(base::Clock::now(), start.addMSecs(45500));
    }
    // Back on the system clock once the virtual one is gone.
    EXPECT_GT(base::Clock::now().date().year(), 2000);
    EXPECT_NE(base::Clock::now(), start.addMSecs(45500));
}

namespace {
QCoro::Task<> sleeper(double seconds, base::Cancel cancel, std::optional<bool>& result) {
    result = co_await base::sleep(seconds, cancel);
}
} // namespace

TEST(Sleep, WakesAfterTheDelayOrEarlyOnCancel) {
    VirtualScheduler scheduler;
    std::optional<bool> full;
    auto a = sleeper(600, {}, full);
    scheduler.advance(599.9);
    EXPECT_FALSE(full);
    scheduler.advance(0.1);
    ASSERT_TRUE(full);
    EXPECT_TRUE(*full);

    std::optional<bool> woken;
    base::Cancel cancel;
    auto b = sleeper(600, cancel, woken);
    scheduler.advance(10);
    cancel.cancel();
    EXPECT_FALSE(woken) << "a cancel wakes the task on the next turn, not inside cancel()";
    scheduler.advance(0);
    ASSERT_TRUE(woken);
    EXPECT_FALSE(*woken);
    EXPECT_DOUBLE_EQ(scheduler.seconds(), 610) << "woken without waiting out the delay";
    EXPECT_EQ(scheduler.pending(), 0);

    // Already cancelled before the wait begins: no delay at all.
    std::optional<bool> never;
    auto c = sleeper(600, cancel, never);
    scheduler.advance(0);
    ASSERT_TRUE(never);
    EXPECT_FALSE(*never);
}

TEST(Cancel, CallbacksRunOnceAndEndedSubscriptionsNever) {
    base::Cancel cancel;
    int a = 0;
    int b = 0;
    auto kept = cancel.onCancel([&] { ++a; });
    {
        auto ended = cancel.onCancel([&] { ++b; });
    }
    base::Cancel copy = cancel;
    copy.cancel();
    cancel.cancel();
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 0);
    EXPECT_TRUE(cancel.isCancelled());
}
