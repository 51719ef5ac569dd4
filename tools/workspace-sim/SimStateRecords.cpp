#include "SimState.h"

#include "MailMessage.h"
#include "SimJson.h"

#include <QCryptographicHash>

#include <algorithm>
#include <set>
#include <tuple>

// The simulator's time keeping, knowledge base, inbox, board report and local model.

namespace {

constexpr std::size_t maxEntries = 5000;
constexpr std::size_t maxDocuments = 5000;
constexpr std::size_t maxEmails = 5000;

} // namespace

// --- time tracking ---

void SimState::addProject(const Project& project) {
    std::lock_guard lock(mutex_);
    projects_[project.id] = project;
}

SimState::TimeEntry SimState::makeEntry(const QString& id, const QString& projectId, const QString& taskId,
                                        const QString& note, const QDateTime& started) const {
    TimeEntry entry;
    entry.started = started;
    entry.json.insert(QStringLiteral("id"), id);
    entry.json.insert(QStringLiteral("started_at"), SimJson::iso(started));
    entry.json.insert(QStringLiteral("user_id"), me_.value(QStringLiteral("id")));
    if (!projectId.isEmpty()) {
        entry.json.insert(QStringLiteral("project_id"), projectId);
        const auto project = projects_.find(projectId);
        if (project != projects_.end()) {
            entry.json.insert(QStringLiteral("project_name"), project->second.name);
            entry.json.insert(QStringLiteral("client_name"), project->second.client);
            for (const auto& [id, label] : project->second.tasks) {
                if (id == taskId)
                    entry.json.insert(QStringLiteral("task_label"), label);
            }
        }
    }
    if (!taskId.isEmpty())
        entry.json.insert(QStringLiteral("task_id"), taskId);
    if (!note.isEmpty())
        entry.json.insert(QStringLiteral("note"), note);
    return entry;
}

QJsonObject SimState::entryJson(const TimeEntry& entry) const {
    QJsonObject json = entry.json;
    if (entry.running) {
        json.insert(QStringLiteral("duration_seconds"), QJsonValue::Null);
        json.insert(QStringLiteral("ended_at"), QJsonValue::Null);
    }
    return json;
}

void SimState::stopRunningLocked(const QDateTime& at) {
    for (TimeEntry& entry : entries_) {
        if (!entry.running)
            continue;
        entry.running = false;
        const qint64 seconds = std::max<qint64>(0, entry.started.secsTo(at));
        entry.json.insert(QStringLiteral("duration_seconds"), seconds);
        entry.json.insert(QStringLiteral("ended_at"), SimJson::iso(at));
    }
}

QJsonObject SimState::timeState() const {
    std::lock_guard lock(mutex_);
    QJsonValue active = QJsonValue::Null;
    QJsonArray review;
    for (const TimeEntry& entry : entries_) {
        if (entry.running)
            active = entryJson(entry);
        if (entry.needsReview)
            review.append(entryJson(entry));
    }
    return QJsonObject{
        {QStringLiteral("enabled"), timeEnabled_},
        {QStringLiteral("active"), timeEnabled_ ? active : QJsonValue(QJsonValue::Null)},
        {QStringLiteral("review"), review},
        {QStringLiteral("server_now"), SimJson::nowIso(skewSeconds_)},
    };
}

std::optional<QJsonObject> SimState::startTimer(const QJsonObject& body, std::string* error) {
    if (!body.value(QStringLiteral("id")).isString() ||
        body.value(QStringLiteral("id")).toString().isEmpty()) {
        *error = "id is required";
        return std::nullopt;
    }
    const QString id = body.value(QStringLiteral("id")).toString();
    std::lock_guard lock(mutex_);
    if (!timeEnabled_) {
        *error = "Time tracking is switched off for this workspace";
        return std::nullopt;
    }
    for (const TimeEntry& entry : entries_) {
        if (entry.json.value(QStringLiteral("id")).toString() == id)
            return entryJson(entry); // the same start sent twice
    }
    const QDateTime now = QDateTime::currentDateTimeUtc().addSecs(skewSeconds_);
    stopRunningLocked(now);
    TimeEntry entry = makeEntry(id, body.value(QStringLiteral("project_id")).toString(),
                                body.value(QStringLiteral("task_id")).toString(),
                                body.value(QStringLiteral("note")).toString(), now);
    entry.running = true;
    if (entries_.size() >= maxEntries)
        entries_.erase(entries_.begin());
    entries_.push_back(entry);
    return entryJson(entry);
}

SimState::StopResult SimState::stopTimer(const QString& id, QJsonObject* result) {
    std::lock_guard lock(mutex_);
    for (TimeEntry& entry : entries_) {
        if (entry.json.value(QStringLiteral("id")).toString() != id)
            continue;
        if (!entry.running)
            return StopResult::NotRunning;
        const QDateTime now = QDateTime::currentDateTimeUtc().addSecs(skewSeconds_);
        entry.running = false;
        entry.json.insert(QStringLiteral("duration_seconds"), std::max<qint64>(0, entry.started.secsTo(now)));
        entry.json.insert(QStringLiteral("ended_at"), SimJson::iso(now));
        *result = entryJson(entry);
        return StopResult::Stopped;
    }
    return StopResult::NotFound;
}

QJsonArray SimState::recentEntries() const {
    std::lock_guard lock(mutex_);
    QJsonArray out;
    std::set<std::tuple<QString, QString, QString>> seen;
    // Newest first by when they started, not by when they were recorded.
    std::vector<const TimeEntry*> finished;
    for (const TimeEntry& entry : entries_) {
        if (!entry.running)
            finished.push_back(&entry);
    }
    std::stable_sort(finished.begin(), finished.end(),
                     [](const TimeEntry* a, const TimeEntry* b) { return a->started > b->started; });
    for (auto it = finished.begin(); it != finished.end() && out.size() < 10; ++it) {
        const TimeEntry* entry = *it;
        const auto key = std::make_tuple(entry->json.value(QStringLiteral("project_id")).toString(),
                                         entry->json.value(QStringLiteral("task_id")).toString(),
                                         entry->json.value(QStringLiteral("note")).toString());
        if (!seen.insert(key).second)
            continue;
        out.append(entryJson(*entry));
    }
    return out;
}

void SimState::addPastEntry(const QString& projectId, const QString& taskId, const QString& note,
                            const QDateTime& started, int durationSeconds, bool needsReview) {
    std::lock_guard lock(mutex_);
    TimeEntry entry = makeEntry(SimJson::uuid(), projectId, taskId, note, started);
    entry.json.insert(QStringLiteral("duration_seconds"), durationSeconds);
    entry.json.insert(QStringLiteral("ended_at"), SimJson::iso(started.addSecs(durationSeconds)));
    entry.needsReview = needsReview;
    entries_.push_back(entry);
}

void SimState::startEntryAt(const QString& projectId, const QString& taskId, const QString& note,
                            const QDateTime& started) {
    std::lock_guard lock(mutex_);
    stopRunningLocked(started);
    TimeEntry entry = makeEntry(SimJson::uuid(), projectId, taskId, note, started);
    entry.running = true;
    entries_.push_back(entry);
}

void SimState::setTimeOptions(const std::optional<bool>& enabled, const std::optional<int>& skewSeconds) {
    std::lock_guard lock(mutex_);
    if (enabled)
        timeEnabled_ = *enabled;
    if (skewSeconds)
        skewSeconds_ = *skewSeconds;
}

// --- knowledge base and inbox ---

QJsonObject SimState::addDocument(const QString& name, const QString& folder, const std::string& data,
                                  const QString& origin) {
    const auto size = static_cast<qint64>(data.size());
    const QString sha256 = QString::fromLatin1(
        QCryptographicHash::hash(QByteArrayView(data.data(), static_cast<qsizetype>(data.size())),
                                 QCryptographicHash::Sha256)
            .toHex());
    const QString id = SimJson::newId(QStringLiteral("doc"));
    const QString folderId =
        QStringLiteral("fld-") + folder.toLower().replace(QLatin1Char(' '), QLatin1Char('-'));
    const QJsonObject document{
        {QStringLiteral("id"), id},
        {QStringLiteral("name"), name},
        {QStringLiteral("folder"), folder},
        {QStringLiteral("folderId"), folderId},
        {QStringLiteral("size"), size},
        {QStringLiteral("sha256"), sha256},
        {QStringLiteral("createdAt"), SimJson::nowIso()},
        {QStringLiteral("webViewLink"), origin + QStringLiteral("/knowledge/documents/") + id},
    };
    std::lock_guard lock(mutex_);
    if (documents_.size() >= maxDocuments)
        documents_.erase(documents_.begin());
    documents_.push_back(document);
    return document;
}

QJsonArray SimState::documents() const {
    std::lock_guard lock(mutex_);
    QJsonArray out;
    for (const QJsonObject& document : documents_)
        out.append(document);
    return out;
}

QJsonObject SimState::forwardEmail(const MailMessage& message, qint64 size) {
    std::lock_guard lock(mutex_);
    const auto found = emails_.find(message.identity);
    if (found != emails_.end()) {
        QJsonObject again = found->second;
        again.insert(QStringLiteral("duplicate"), true);
        return again;
    }
    QJsonObject email{
        {QStringLiteral("id"), SimJson::newId(QStringLiteral("mail"))},
        {QStringLiteral("fromName"),
         message.fromName.isEmpty() ? QJsonValue() : QJsonValue(message.fromName)},
        {QStringLiteral("fromEmail"),
         message.fromEmail.isEmpty() ? QJsonValue() : QJsonValue(message.fromEmail)},
        {QStringLiteral("attachments"), QJsonArray::fromStringList(message.attachments)},
        {QStringLiteral("duplicate"), false},
        {QStringLiteral("size"), size},
        {QStringLiteral("receivedAt"), SimJson::nowIso()},
    };
    if (!message.subject.isEmpty())
        email.insert(QStringLiteral("subject"), message.subject);
    evictOldest(emails_, maxEmails,
                [](const QJsonObject& e) { return e.value(QStringLiteral("receivedAt")).toString(); });
    emails_[message.identity] = email;
    return email;
}

// --- board report ---

QJsonObject SimState::board() const {
    std::lock_guard lock(mutex_);
    return board_;
}

void SimState::setBoard(const QJsonObject& board) {
    std::lock_guard lock(mutex_);
    board_ = board;
}

// --- local model ---

QJsonArray SimState::ollamaModels() const {
    std::lock_guard lock(mutex_);
    return ollamaModels_;
}

std::optional<QString> SimState::ollamaReply() const {
    std::lock_guard lock(mutex_);
    return ollamaReply_;
}

int SimState::ollamaChunkMs() const {
    std::lock_guard lock(mutex_);
    return ollamaChunkMs_;
}

void SimState::setOllama(const std::optional<QJsonArray>& models, const std::optional<QJsonValue>& reply,
                         const std::optional<int>& chunkMs) {
    std::lock_guard lock(mutex_);
    if (models)
        ollamaModels_ = *models;
    if (reply) {
        if (reply->isString())
            ollamaReply_ = reply->toString();
        else
            ollamaReply_.reset();
    }
    if (chunkMs)
        ollamaChunkMs_ = std::clamp(*chunkMs, 0, 10000);
}
