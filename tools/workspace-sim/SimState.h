#pragma once

#include "TurnScript.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <algorithm>
#include <chrono>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

struct MailMessage;

// The workspace's data: the desktop key and the tokens it gave out, the user, the agents, threads
// with their messages, notifications, approvals, time entries, documents, forwarded mail, the
// board report and the local model's settings. One mutex guards it all; every member returns
// copies, so no caller holds a reference into it.
class SimState {
public:
    using Clock = std::chrono::steady_clock;

    struct Project {
        QString id;
        QString name;
        QString client;
        std::vector<std::pair<QString, QString>> tasks; // id, label
    };

    explicit SimState(std::string desktopKey);

    // Back to the state at start: the command line's key, default token lifetimes, no records.
    void reset();

    // Desktop key and access tokens.
    struct Issued {
        std::string token;
        QJsonValue expiresIn; // undefined: the reply leaves the key out
    };
    std::optional<Issued> exchange(const std::string& presentedKey);
    bool tokenValid(const std::string& token);
    void setKey(const std::optional<std::string>& key, const std::optional<bool>& revoked);
    // `expiresIn` as the exchange writes it (undefined or null: left out); `validForSeconds` how
    // long tokens really last (none: from `expiresIn`, or 900 when that isn't a whole number).
    void setTokenLifetime(const QJsonValue& expiresIn, std::optional<int> validForSeconds);
    int expireTokens();
    QJsonObject keyJson() const;

    // Company and user.
    QJsonObject company() const;
    void mergeCompany(const QJsonObject& fields);
    QJsonObject me() const;
    void setMe(const QJsonObject& me);
    QJsonArray agents() const;
    void setCompanyName(const QString& name);

    // Notifications. Fields that are missing get defaults; `threadMessages` are the messages of
    // the thread that opening the notification makes.
    QJsonObject addNotification(QJsonObject fields, const QJsonArray& threadMessages = {});
    bool markRead(const QString& id);

    // Approvals.
    QJsonObject addApproval(QJsonObject fields);
    std::optional<QJsonObject> approval(const QString& id) const;
    enum class Decision { Done, NotFound, Forbidden, AlreadyDecided };
    Decision decide(const QString& id, bool approve, const QJsonValue& note, QJsonObject* result);

    // Chat threads.
    QJsonObject createThread(const QString& agentId, const QJsonObject& request);
    std::optional<QString> threadAgent(const QString& threadId) const;
    void addMessage(const QString& threadId, const QString& authorType, const QString& text,
                    const QJsonObject& meta = {});
    std::optional<QJsonArray> messages(const QString& threadId, int limit) const;
    std::optional<QJsonObject> threadFromNotification(const QString& notificationId);

    // Scripted turns, first in first out.
    static constexpr std::size_t maxTurnScripts = 200;
    bool queueTurnScript(TurnScript script);
    std::optional<TurnScript> takeTurnScript(const std::string& threadId);
    std::size_t clearTurnScripts();

    // Time tracking.
    void addProject(const Project& project);
    QJsonObject timeState() const;
    std::optional<QJsonObject> startTimer(const QJsonObject& body, std::string* error);
    enum class StopResult { Stopped, NotFound, NotRunning };
    StopResult stopTimer(const QString& id, QJsonObject* entry);
    QJsonArray recentEntries() const;
    // A finished entry in the past, for the demo's history.
    void addPastEntry(const QString& projectId, const QString& taskId, const QString& note,
                      const QDateTime& started, int durationSeconds, bool needsReview = false);
    void startEntryAt(const QString& projectId, const QString& taskId, const QString& note,
                      const QDateTime& started);
    void setTimeOptions(const std::optional<bool>& enabled, const std::optional<int>& skewSeconds);

    // Knowledge base and inbox.
    // A document as received: its size and SHA-256 are kept, so that a test can compare it with
    // the file that was sent.
    QJsonObject addDocument(const QString& name, const QString& folder, const std::string& data,
                            const QString& origin);
    QJsonArray documents() const;
    QJsonObject forwardEmail(const MailMessage& message, qint64 size);

    // Board report.
    QJsonObject board() const;
    void setBoard(const QJsonObject& board);

    // Local model.
    QJsonArray ollamaModels() const;
    std::optional<QString> ollamaReply() const;
    int ollamaChunkMs() const;
    void setOllama(const std::optional<QJsonArray>& models, const std::optional<QJsonValue>& reply,
                   const std::optional<int>& chunkMs);

    // Everything, for the control API's state view.
    QJsonObject snapshot() const;

private:
    // Drops the first entries of a map keyed by ids that sort by creation (the ids carry no
    // order, so the caller keeps it in `createdAt`), until the map is below its bound.
    template <typename Map, typename Created>
    static void evictOldest(Map& map, std::size_t bound, Created createdAt) {
        while (map.size() >= bound) {
            auto oldest = std::min_element(map.begin(), map.end(), [&](const auto& a, const auto& b) {
                return createdAt(a.second) < createdAt(b.second);
            });
            map.erase(oldest);
        }
    }
    struct Thread {
        QString id;
        QString agentId;
        QString notificationId;
        QJsonObject info;
        std::deque<QJsonObject> messages;
    };
    struct Notification {
        QJsonObject json;
        QJsonArray threadMessages;
        bool read = false;
    };
    struct TimeEntry {
        QJsonObject json;
        QDateTime started;
        bool running = false;
        bool needsReview = false;
    };

    void resetLocked();
    QJsonObject entryJson(const TimeEntry& entry) const;
    TimeEntry makeEntry(const QString& id, const QString& projectId, const QString& taskId,
                        const QString& note, const QDateTime& started) const;
    void stopRunningLocked(const QDateTime& at);
    Thread& newThreadLocked(const QString& agentId, const QJsonObject& info);

    mutable std::mutex mutex_;
    const std::string startKey_;
    std::string key_;
    bool revoked_ = false;
    std::map<std::string, Clock::time_point> tokens_;
    QJsonValue expiresIn_;
    std::optional<int> validFor_;
    int exchanges_ = 0;

    QJsonObject company_;
    QJsonObject me_;
    QJsonObject board_;
    std::map<QString, Thread> threads_;
    std::map<QString, Notification> notifications_;
    std::map<QString, QJsonObject> approvals_;
    std::deque<TurnScript> turnScripts_;
    std::map<QString, Project> projects_;
    std::vector<TimeEntry> entries_;
    bool timeEnabled_ = true;
    int skewSeconds_ = 0;
    std::vector<QJsonObject> documents_;
    std::map<QString, QJsonObject> emails_;
    QJsonArray ollamaModels_;
    std::optional<QString> ollamaReply_;
    int ollamaChunkMs_ = 30;
};
