#pragma once

#include "workspace/VantleNotification.h"

#include <QDateTime>
#include <QString>

#include <deque>
#include <functional>
#include <optional>

// What waits for the balloon while it is busy: the workspace's notifications and the program's
// own messages, oldest first. It holds at most `limit` entries; when more come, plain notices
// older than a day go first, then the oldest plain ones. An approval never goes while it waits.
class NoticeQueue {
public:
    struct Entry {
        QDateTime arrived;
        // A notification of the workspace; none for a message of the program itself.
        std::optional<VantleNotification> notification;
        // How a message of the program itself is shown.
        std::function<void()> show;
        bool isApproval = false;
        // An approval set aside undecided: what the user had typed under it so far.
        QString comment;
        bool shownBefore = false;
        // Closed by the user undecided: it waits for the next free moment after this one.
        bool resting = false;
    };

    static constexpr int limit = 50;

    // In the order of arrival: an approval that went back keeps its place before the newer ones.
    void add(Entry entry);
    // Takes out the notification with this id; false when it was not waiting.
    bool remove(const QString& notificationId);
    // The oldest entry that is not resting.
    std::optional<Entry> take();
    // The notification goes behind the others and rests: it is not taken until the next wake.
    void rest(const QString& notificationId, const QDateTime& now);
    // The resting entries may be shown again.
    void wake();
    int size() const { return static_cast<int>(entries.size()); }
    bool isEmpty() const { return entries.empty(); }
    bool contains(const QString& notificationId) const;

private:
    void trim();

    std::deque<Entry> entries;
};
