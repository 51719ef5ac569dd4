#include "SimState.h"

#include "MailMessage.h"
#include "SimJson.h"

#include <QRandomGenerator>

#include <algorithm>

namespace {

constexpr std::size_t maxTokens = 10000;
constexpr std::size_t maxThreads = 5000;
constexpr std::size_t maxMessagesPerThread = 500;
constexpr std::size_t maxNotifications = 5000;
constexpr std::size_t maxApprovals = 5000;
constexpr int defaultTokenSeconds = 900;

const QStringList knownAgents{QStringLiteral("dorn"), QStringLiteral("lirra"), QStringLiteral("morvo"),
                              QStringLiteral("pelka")};

QString capitalised(const QString& id) {
    return id.isEmpty() ? id : id.left(1).toUpper() + id.mid(1);
}

QJsonObject defaultCompany() {
    return QJsonObject{
        {QStringLiteral("id"), QStringLiteral("co-1")},
        {QStringLiteral("name"), QStringLiteral("Northwind Harbour OÜ")},
        {QStringLiteral("language"), QStringLiteral("en")},
        {QStringLiteral("timezone"), QStringLiteral("Europe/Tallinn")},
        {QStringLiteral("currency"), QStringLiteral("EUR")},
    };
}

QJsonObject defaultMe() {
    return QJsonObject{
        {QStringLiteral("id"), QStringLiteral("u-1")},
        {QStringLiteral("email"), QStringLiteral("kaia.tamm@northwind.example")},
        {QStringLiteral("name"), QStringLiteral("Kaia Tamm")},
        {QStringLiteral("role"), QStringLiteral("admin")},
        {QStringLiteral("roles"), QJsonArray{QStringLiteral("admin"), QStringLiteral("member")}},
        {QStringLiteral("companyId"), QStringLiteral("co-1")},
        {QStringLiteral("language"), QStringLiteral("en")},
    };
}

QJsonObject defaultBoard() {
    const QJsonObject report{
        {QStringLiteral("healthScore"), 72},
        {QStringLiteral("healthLine"), QStringLiteral("Steady, with cash tighter than it looks")},
        {QStringLiteral("narrative"),
         QStringLiteral("Revenue is up 8% on the quarter, carried by Harbour Logistics. Two invoices "
                        "are more than 30 days late, and the Pärnu office runs above its hours budget.")},
        {QStringLiteral("positives"), QJsonArray{QStringLiteral("Harbour Logistics signed phase 2"),
                                                 QStringLiteral("Billable share of hours rose to 78%"),
                                                 QStringLiteral("No open support escalations")}},
        {QStringLiteral("concerns"),
         QJsonArray{QJsonObject{{QStringLiteral("title"), QStringLiteral("Late receivables")},
                                {QStringLiteral("detail"),
                                 QStringLiteral("12 400 € over 30 days, mostly Mäe Ehitus")}},
                    QJsonObject{{QStringLiteral("title"), QStringLiteral("Pärnu office overtime")}}}},
        {QStringLiteral("recommendedActions"),
         QJsonArray{
             QJsonObject{{QStringLiteral("action"), QStringLiteral("Call Mäe Ehitus about the two invoices")},
                         {QStringLiteral("owner"), QStringLiteral("Kaia")},
                         {QStringLiteral("priority"), QStringLiteral("now")},
                         {QStringLiteral("expectedImpact"), QStringLiteral("12 400 € in by month end")}},
             QJsonObject{{QStringLiteral("action"), QStringLiteral("Move two Pärnu tasks to Tallinn")},
                         {QStringLiteral("owner"), QStringLiteral("Tõnu")},
                         {QStringLiteral("priority"), QStringLiteral("today")}},
             QJsonObject{{QStringLiteral("action"), QStringLiteral("Review the Q3 pricing sheet")},
                         {QStringLiteral("priority"), QStringLiteral("soon")},
                         {QStringLiteral("expectedImpact"), QStringLiteral("+3% margin")}}}},
    };
    return QJsonObject{{QStringLiteral("boardReport"), report},
                       {QStringLiteral("generatedAt"), SimJson::nowIso(-3 * 3600)}};
}

QJsonArray defaultModels() {
    auto model = [](const QString& name, qint64 size, const QString& family, const QString& parameters,
                    const QJsonValue& capabilities) {
        QJsonObject object{
            {QStringLiteral("name"), name},
            {QStringLiteral("model"), name},
            {QStringLiteral("modified_at"), QStringLiteral("2025-11-02T09:41:12.123456789+02:00")},
            {QStringLiteral("size"), size},
            {QStringLiteral("digest"),
             QString::fromLatin1(QByteArray::number(qHash(name), 16).repeated(8).left(64))},
            {QStringLiteral("details"),
             QJsonObject{{QStringLiteral("format"), QStringLiteral("gguf")},
                         {QStringLiteral("family"), family},
                         {QStringLiteral("parameter_size"), parameters},
                         {QStringLiteral("quantization_level"), QStringLiteral("Q4_K_M")}}},
        };
        if (!capabilities.isUndefined())
            object.insert(QStringLiteral("capabilities"), capabilities);
        return object;
    };
    return QJsonArray{
        model(QStringLiteral("llama3.2:latest"), 2019393189, QStringLiteral("llama"), QStringLiteral("3.2B"),
              QJsonValue::Undefined),
        model(QStringLiteral("nomic-embed-text:latest"), 274302450, QStringLiteral("nomic-bert"),
              QStringLiteral("137M"), QJsonArray{QStringLiteral("embedding")}),
        model(QStringLiteral("qwen2.5:7b"), 4683087332, QStringLiteral("qwen2"), QStringLiteral("7.6B"),
              QJsonArray{QStringLiteral("completion"), QStringLiteral("tools")}),
    };
}

std::string newToken() {
    static const char hex[] = "0123456789abcdef";
    std::string token = "vat_";
    for (int i = 0; i < 40; ++i)
        token += hex[QRandomGenerator::system()->bounded(16)];
    return token;
}

bool isWholeNumber(const QJsonValue& value) {
    if (!value.isDouble())
        return false;
    const double number = value.toDouble();
    return number == static_cast<double>(static_cast<qint64>(number));
}

} // namespace

SimState::SimState(std::string desktopKey) : startKey_(std::move(desktopKey)) {
    resetLocked();
}

void SimState::reset() {
    std::lock_guard lock(mutex_);
    resetLocked();
}

void SimState::resetLocked() {
    key_ = startKey_;
    revoked_ = false;
    tokens_.clear();
    expiresIn_ = QJsonValue(3600);
    validFor_.reset();
    exchanges_ = 0;
    company_ = defaultCompany();
    me_ = defaultMe();
    board_ = defaultBoard();
    threads_.clear();
    notifications_.clear();
    approvals_.clear();
    turnScripts_.clear();
    projects_.clear();
    entries_.clear();
    timeEnabled_ = true;
    skewSeconds_ = 0;
    documents_.clear();
    emails_.clear();
    ollamaModels_ = defaultModels();
    ollamaReply_.reset();
    ollamaChunkMs_ = 30;
}

// --- key and tokens ---

std::optional<SimState::Issued> SimState::exchange(const std::string& presentedKey) {
    std::lock_guard lock(mutex_);
    ++exchanges_;
    const auto now = Clock::now();
    std::erase_if(tokens_, [&](const auto& item) { return item.second <= now; });
    if (revoked_ || presentedKey.empty() || presentedKey != key_)
        return std::nullopt;
    const int seconds = validFor_                   ? *validFor_
                        : isWholeNumber(expiresIn_) ? static_cast<int>(expiresIn_.toDouble())
                                                    : defaultTokenSeconds;
    while (tokens_.size() >= maxTokens) {
        tokens_.erase(std::min_element(tokens_.begin(), tokens_.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; }));
    }
    Issued issued{newToken(), expiresIn_};
    tokens_[issued.token] = now + std::chrono::seconds(std::max(seconds, 0));
    return issued;
}

bool SimState::tokenValid(const std::string& token) {
    std::lock_guard lock(mutex_);
    const auto found = tokens_.find(token);
    return found != tokens_.end() && found->second > Clock::now();
}

void SimState::setKey(const std::optional<std::string>& key, const std::optional<bool>& revoked) {
    std::lock_guard lock(mutex_);
    if (key)
        key_ = *key;
    if (revoked)
        revoked_ = *revoked;
    // A withdrawn or replaced key takes its tokens with it.
    if ((revoked && *revoked) || key)
        tokens_.clear();
}

void SimState::setTokenLifetime(const QJsonValue& expiresIn, std::optional<int> validForSeconds) {
    std::lock_guard lock(mutex_);
    expiresIn_ = expiresIn.isNull() ? QJsonValue(QJsonValue::Undefined) : expiresIn;
    validFor_ = validForSeconds;
}

int SimState::expireTokens() {
    std::lock_guard lock(mutex_);
    const int count = static_cast<int>(tokens_.size());
    tokens_.clear();
    return count;
}

QJsonObject SimState::keyJson() const {
    std::lock_guard lock(mutex_);
    const auto now = Clock::now();
    const auto valid =
        std::count_if(tokens_.begin(), tokens_.end(), [&](const auto& t) { return t.second > now; });
    return QJsonObject{
        {QStringLiteral("key"), SimJson::toQString(key_)},
        {QStringLiteral("revoked"), revoked_},
        {QStringLiteral("exchanges"), exchanges_},
        {QStringLiteral("valid_tokens"), static_cast<qint64>(valid)},
        {QStringLiteral("expires_in"),
         expiresIn_.isUndefined() ? QJsonValue(QStringLiteral("(left out)")) : expiresIn_},
        {QStringLiteral("valid_for_s"), validFor_ ? QJsonValue(*validFor_) : QJsonValue()},
    };
}

// --- company and user ---

QJsonObject SimState::company() const {
    std::lock_guard lock(mutex_);
    return company_;
}

void SimState::mergeCompany(const QJsonObject& fields) {
    std::lock_guard lock(mutex_);
    for (auto it = fields.begin(); it != fields.end(); ++it) {
        if (it.value().isNull())
            company_.remove(it.key());
        else
            company_.insert(it.key(), it.value());
    }
}

void SimState::setCompanyName(const QString& name) {
    std::lock_guard lock(mutex_);
    company_.insert(QStringLiteral("name"), name);
}

QJsonObject SimState::me() const {
    std::lock_guard lock(mutex_);
    return me_;
}

void SimState::setMe(const QJsonObject& me) {
    std::lock_guard lock(mutex_);
    me_ = me;
}

QJsonArray SimState::agents() const {
    static const QStringList roles{
        QStringLiteral("Strategy and board reporting"), QStringLiteral("Clients and correspondence"),
        QStringLiteral("Sales and proposals"), QStringLiteral("Time, people and absences")};
    QJsonArray agents;
    for (int i = 0; i < knownAgents.size(); ++i) {
        agents.append(QJsonObject{{QStringLiteral("id"), knownAgents.at(i)},
                                  {QStringLiteral("name"), capitalised(knownAgents.at(i))},
                                  {QStringLiteral("role"), roles.at(i)},
                                  {QStringLiteral("enabled"), true}});
    }
    return agents;
}

// --- notifications ---

QJsonObject SimState::addNotification(QJsonObject fields, const QJsonArray& threadMessages) {
    if (!fields.contains(QStringLiteral("id")))
        fields.insert(QStringLiteral("id"), SimJson::newId(QStringLiteral("ntf")));
    if (!fields.contains(QStringLiteral("title")))
        fields.insert(QStringLiteral("title"), QStringLiteral("Notification"));
    if (!fields.contains(QStringLiteral("message")))
        fields.insert(QStringLiteral("message"), QString());
    if (!fields.contains(QStringLiteral("tone")))
        fields.insert(QStringLiteral("tone"), QStringLiteral("info"));
    if (!fields.contains(QStringLiteral("createdAt")))
        fields.insert(QStringLiteral("createdAt"), SimJson::nowIso());
    fields.insert(QStringLiteral("read"), false);

    std::lock_guard lock(mutex_);
    evictOldest(notifications_, maxNotifications,
                [](const Notification& n) { return n.json.value(QStringLiteral("createdAt")).toString(); });
    // Only string ids can be looked up later; others are sent but not kept.
    if (fields.value(QStringLiteral("id")).isString())
        notifications_[fields.value(QStringLiteral("id")).toString()] =
            Notification{fields, threadMessages, false};
    return fields;
}

bool SimState::markRead(const QString& id) {
    std::lock_guard lock(mutex_);
    const auto found = notifications_.find(id);
    if (found == notifications_.end())
        return false;
    found->second.read = true;
    found->second.json.insert(QStringLiteral("read"), true);
    return true;
}

// --- approvals ---

QJsonObject SimState::addApproval(QJsonObject fields) {
    if (!fields.value(QStringLiteral("id")).isString())
        fields.insert(QStringLiteral("id"), SimJson::newId(QStringLiteral("apr")));
    if (!fields.contains(QStringLiteral("agent")))
        fields.insert(QStringLiteral("agent"), QStringLiteral("Morvo"));
    if (!fields.contains(QStringLiteral("action")))
        fields.insert(QStringLiteral("action"), QStringLiteral("Send the proposal to the client"));
    if (!fields.contains(QStringLiteral("canDecide")))
        fields.insert(QStringLiteral("canDecide"), true);
    fields.insert(QStringLiteral("status"), QStringLiteral("pending"));
    if (!fields.contains(QStringLiteral("createdAt")))
        fields.insert(QStringLiteral("createdAt"), SimJson::nowIso());

    std::lock_guard lock(mutex_);
    evictOldest(approvals_, maxApprovals,
                [](const QJsonObject& a) { return a.value(QStringLiteral("createdAt")).toString(); });
    approvals_[fields.value(QStringLiteral("id")).toString()] = fields;
    return fields;
}

std::optional<QJsonObject> SimState::approval(const QString& id) const {
    std::lock_guard lock(mutex_);
    const auto found = approvals_.find(id);
    if (found == approvals_.end())
        return std::nullopt;
    return found->second;
}

SimState::Decision SimState::decide(const QString& id, bool approve, const QJsonValue& note,
                                    QJsonObject* result) {
    std::lock_guard lock(mutex_);
    const auto found = approvals_.find(id);
    if (found == approvals_.end())
        return Decision::NotFound;
    QJsonObject& approval = found->second;
    *result = approval;
    if (approval.value(QStringLiteral("canDecide")) != QJsonValue(true))
        return Decision::Forbidden;
    if (approval.value(QStringLiteral("status")).toString() != QLatin1String("pending"))
        return Decision::AlreadyDecided;
    approval.insert(QStringLiteral("status"),
                    approve ? QStringLiteral("approved") : QStringLiteral("rejected"));
    approval.insert(QStringLiteral("decidedAt"), SimJson::nowIso());
    approval.insert(QStringLiteral("decidedBy"), me_.value(QStringLiteral("id")));
    if (note.isString())
        approval.insert(QStringLiteral("decisionNote"), note);
    *result = approval;
    return Decision::Done;
}

// --- threads ---

SimState::Thread& SimState::newThreadLocked(const QString& agentId, const QJsonObject& info) {
    evictOldest(threads_, maxThreads,
                [](const Thread& t) { return t.info.value(QStringLiteral("createdAt")).toString(); });
    Thread thread;
    thread.id = SimJson::newId(QStringLiteral("thr"));
    thread.agentId = agentId;
    thread.info = info;
    thread.info.insert(QStringLiteral("id"), thread.id);
    thread.info.insert(QStringLiteral("createdAt"), SimJson::nowIso());
    if (!agentId.isEmpty())
        thread.info.insert(QStringLiteral("agentId"), agentId);
    const QString id = thread.id;
    return threads_[id] = std::move(thread);
}

QJsonObject SimState::createThread(const QString& agentId, const QJsonObject& request) {
    QJsonObject info;
    for (const QString& key :
         {QStringLiteral("kind"), QStringLiteral("participants"), QStringLiteral("title")}) {
        if (request.contains(key))
            info.insert(key, request.value(key));
    }
    std::lock_guard lock(mutex_);
    return newThreadLocked(agentId, info).info;
}

std::optional<QString> SimState::threadAgent(const QString& threadId) const {
    std::lock_guard lock(mutex_);
    const auto found = threads_.find(threadId);
    if (found == threads_.end())
        return std::nullopt;
    return found->second.agentId;
}

void SimState::addMessage(const QString& threadId, const QString& authorType, const QString& text,
                          const QJsonObject& meta) {
    std::lock_guard lock(mutex_);
    const auto found = threads_.find(threadId);
    if (found == threads_.end())
        return;
    Thread& thread = found->second;
    QJsonObject message{
        {QStringLiteral("id"), SimJson::newId(QStringLiteral("msg"))},
        {QStringLiteral("authorType"), authorType},
        {QStringLiteral("authorId"),
         authorType == QLatin1String("agent") ? thread.agentId : me_.value(QStringLiteral("id")).toString()},
        {QStringLiteral("text"), text},
        {QStringLiteral("createdAt"), SimJson::nowIso()},
    };
    if (!meta.isEmpty())
        message.insert(QStringLiteral("meta"), meta);
    thread.messages.push_back(message);
    while (thread.messages.size() > maxMessagesPerThread)
        thread.messages.pop_front();
}

std::optional<QJsonArray> SimState::messages(const QString& threadId, int limit) const {
    std::lock_guard lock(mutex_);
    const auto found = threads_.find(threadId);
    if (found == threads_.end())
        return std::nullopt;
    const auto& all = found->second.messages;
    const std::size_t count = std::min<std::size_t>(all.size(), static_cast<std::size_t>(std::max(limit, 1)));
    QJsonArray out;
    for (std::size_t i = all.size() - count; i < all.size(); ++i)
        out.append(all[i]);
    return out;
}

std::optional<QJsonObject> SimState::threadFromNotification(const QString& notificationId) {
    std::lock_guard lock(mutex_);
    const auto found = notifications_.find(notificationId);
    if (found == notifications_.end())
        return std::nullopt;
    for (const auto& [id, thread] : threads_) {
        if (thread.notificationId == notificationId)
            return thread.info;
    }
    const Notification& notification = found->second;
    QString agent = notification.json.value(QStringLiteral("agentId")).toString().toLower();
    if (!knownAgents.contains(agent))
        agent.clear();
    Thread& thread = newThreadLocked(
        agent, QJsonObject{
                   {QStringLiteral("kind"), QStringLiteral("agent")},
                   {QStringLiteral("title"), notification.json.value(QStringLiteral("title"))},
                   {QStringLiteral("notificationId"), notificationId},
               });
    thread.notificationId = notificationId;
    if (!notification.threadMessages.isEmpty()) {
        for (const QJsonValue& value : notification.threadMessages) {
            if (!value.isObject())
                continue;
            QJsonObject message = value.toObject();
            if (!message.contains(QStringLiteral("id")))
                message.insert(QStringLiteral("id"), SimJson::newId(QStringLiteral("msg")));
            if (!message.contains(QStringLiteral("createdAt")))
                message.insert(QStringLiteral("createdAt"), SimJson::nowIso());
            thread.messages.push_back(message);
        }
    } else {
        QString text = notification.json.value(QStringLiteral("message")).toString();
        if (text.isEmpty())
            text = notification.json.value(QStringLiteral("title")).toString();
        thread.messages.push_back(QJsonObject{
            {QStringLiteral("id"), SimJson::newId(QStringLiteral("msg"))},
            {QStringLiteral("authorType"), QStringLiteral("agent")},
            {QStringLiteral("authorId"), agent},
            {QStringLiteral("text"), text},
            {QStringLiteral("createdAt"), SimJson::nowIso()},
        });
    }
    return thread.info;
}

// --- scripted turns ---

bool SimState::queueTurnScript(TurnScript script) {
    std::lock_guard lock(mutex_);
    if (turnScripts_.size() >= maxTurnScripts)
        return false;
    turnScripts_.push_back(std::move(script));
    return true;
}

std::optional<TurnScript> SimState::takeTurnScript(const std::string& threadId) {
    std::lock_guard lock(mutex_);
    for (auto it = turnScripts_.begin(); it != turnScripts_.end(); ++it) {
        if (it->threadId && *it->threadId != threadId)
            continue;
        TurnScript script = std::move(*it);
        turnScripts_.erase(it);
        return script;
    }
    return std::nullopt;
}

std::size_t SimState::clearTurnScripts() {
    std::lock_guard lock(mutex_);
    const std::size_t count = turnScripts_.size();
    turnScripts_.clear();
    return count;
}

// --- state view ---

QJsonObject SimState::snapshot() const {
    const QJsonObject key = keyJson();
    std::lock_guard lock(mutex_);
    QJsonArray threads;
    for (const auto& [id, thread] : threads_) {
        QJsonObject info = thread.info;
        QJsonArray messages;
        for (const QJsonObject& message : thread.messages)
            messages.append(message);
        info.insert(QStringLiteral("messages"), messages);
        threads.append(info);
    }
    QJsonArray notifications;
    for (const auto& [id, notification] : notifications_)
        notifications.append(notification.json);
    QJsonArray approvals;
    for (const auto& [id, approval] : approvals_)
        approvals.append(approval);
    QJsonArray entries;
    for (const TimeEntry& entry : entries_)
        entries.append(entryJson(entry));
    QJsonArray documents;
    for (const QJsonObject& document : documents_)
        documents.append(document);
    QJsonArray emails;
    for (const auto& [id, email] : emails_)
        emails.append(email);
    return QJsonObject{
        {QStringLiteral("key"), key},
        {QStringLiteral("company"), company_},
        {QStringLiteral("me"), me_},
        {QStringLiteral("threads"), threads},
        {QStringLiteral("notifications"), notifications},
        {QStringLiteral("approvals"), approvals},
        {QStringLiteral("turn_scripts"), static_cast<qint64>(turnScripts_.size())},
        {QStringLiteral("time"), QJsonObject{{QStringLiteral("enabled"), timeEnabled_},
                                             {QStringLiteral("skew_s"), skewSeconds_},
                                             {QStringLiteral("entries"), entries}}},
        {QStringLiteral("documents"), documents},
        {QStringLiteral("emails"), emails},
    };
}
