#include "notifications/NoticeQueue.h"

#include "base/Clock.h"

#include <algorithm>

namespace {

constexpr qint64 daySeconds = 24 * 60 * 60;

} // namespace

void NoticeQueue::add(Entry entry) {
    // A notification that is waiting already is not shown twice.
    if (entry.notification && contains(entry.notification->id)) {
        return;
    }
    const auto at =
        std::upper_bound(entries.begin(), entries.end(), entry.arrived,
                         [](const QDateTime& arrived, const Entry& e) { return arrived < e.arrived; });
    entries.insert(at, std::move(entry));
    trim();
}

void NoticeQueue::trim() {
    const QDateTime dayAgo = base::Clock::now().addSecs(-daySeconds);
    while (size() > limit) {
        const auto plain = [](const Entry& e) { return !e.isApproval; };
        auto victim = std::find_if(entries.begin(), entries.end(),
                                   [&](const Entry& e) { return plain(e) && e.arrived < dayAgo; });
        if (victim == entries.end()) {
            victim = std::find_if(entries.begin(), entries.end(), plain);
        }
        // Only approvals left: they all stay.
        if (victim == entries.end()) {
            return;
        }
        entries.erase(victim);
    }
}

bool NoticeQueue::remove(const QString& notificationId) {
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const Entry& e) {
        return e.notification && e.notification->id == notificationId;
    });
    if (found == entries.end()) {
        return false;
    }
    entries.erase(found);
    return true;
}

bool NoticeQueue::contains(const QString& notificationId) const {
    return std::any_of(entries.begin(), entries.end(), [&](const Entry& e) {
        return e.notification && e.notification->id == notificationId;
    });
}

std::optional<NoticeQueue::Entry> NoticeQueue::take() {
    const auto found =
        std::find_if(entries.begin(), entries.end(), [](const Entry& e) { return !e.resting; });
    if (found == entries.end()) {
        return std::nullopt;
    }
    Entry first = std::move(*found);
    entries.erase(found);
    return first;
}

void NoticeQueue::rest(const QString& notificationId, const QDateTime& now) {
    const auto found = std::find_if(entries.begin(), entries.end(), [&](const Entry& e) {
        return e.notification && e.notification->id == notificationId;
    });
    if (found == entries.end()) {
        return;
    }
    Entry entry = std::move(*found);
    entries.erase(found);
    entry.arrived = now;
    entry.resting = true;
    add(std::move(entry));
}

void NoticeQueue::wake() {
    for (auto& entry : entries) {
        entry.resting = false;
    }
}
