#include "notifications/NoticeQueue.h"
#include "base/Clock.h"

#include <QScopeGuard>

#include <gtest/gtest.h>

namespace {

const QDateTime now(QDate(2026, 3, 2), QTime(12, 0));

NoticeQueue::Entry entry(const QString& id, qint64 secondsAgo, bool approval = false) {
    VantleNotification n;
    n.id = id;
    n.title = id;
    return {now.addSecs(-secondsAgo), n, nullptr, approval, QString(), false, false};
}

QStringList ids(NoticeQueue& queue) {
    QStringList out;
    while (auto e = queue.take()) {
        out << e->notification->id;
    }
    return out;
}

} // namespace

TEST(NoticeQueueTest, OldestFirstBoundedWithOldPlainNoticesGoingFirstAndApprovalsKept) {
    base::Clock::setSource([] { return now; });
    const auto restore = qScopeGuard([] { base::Clock::setSource({}); });

    NoticeQueue queue;
    queue.add(entry("b", 10));
    queue.add(entry("a", 20));
    queue.add(entry("a", 5)); // the same notification again waits once
    queue.add(entry("c", 1));
    EXPECT_TRUE(queue.remove("b")) << "read elsewhere";
    EXPECT_FALSE(queue.remove("b"));
    EXPECT_EQ(ids(queue), (QStringList{"a", "c"}));

    // Two plain notices older than a day, then approvals and fresh notices up to the limit.
    queue.add(entry("stale-1", 3 * 86400));
    queue.add(entry("stale-2", 2 * 86400));
    queue.add(entry("ap-old", 4 * 86400, true));
    for (int i = 0; i < 46; ++i) {
        queue.add(entry(QStringLiteral("fresh-%1").arg(i), 1000 - i));
    }
    ASSERT_EQ(queue.size(), NoticeQueue::limit - 1);
    queue.add(entry("ap-new", 0, true));
    queue.add(entry("newest", 0));
    EXPECT_EQ(queue.size(), NoticeQueue::limit);
    EXPECT_FALSE(queue.contains("stale-1")) << "old plain notices go first";
    queue.add(entry("newer", 0));
    EXPECT_FALSE(queue.contains("stale-2"));
    queue.add(entry("newest-2", 0));
    EXPECT_FALSE(queue.contains("fresh-0")) << "then the oldest plain one";
    EXPECT_TRUE(queue.contains("ap-old")) << "an approval that waits is never dropped";

    // Only approvals: none goes, whatever the limit.
    NoticeQueue approvals;
    for (int i = 0; i < NoticeQueue::limit + 3; ++i) {
        approvals.add(entry(QStringLiteral("ap-%1").arg(i), 100000 - i, true));
    }
    EXPECT_EQ(approvals.size(), NoticeQueue::limit + 3);

    // A resting approval goes behind and is not taken until the queue wakes.
    NoticeQueue resting;
    resting.add(entry("ap", 50, true));
    resting.add(entry("n", 10));
    resting.rest("ap", now);
    auto first = resting.take();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->notification->id, QStringLiteral("n"));
    EXPECT_FALSE(resting.take());
    resting.wake();
    EXPECT_EQ(ids(resting), QStringList{"ap"});
}
