#include "FaultTable.h"

#include "SimJson.h"

#include <algorithm>

namespace {

const char* actionName(FaultTable::Action action) {
    switch (action) {
    case FaultTable::Action::Respond:
        return "respond";
    case FaultTable::Action::Delay:
        return "delay";
    case FaultTable::Action::Drop:
        return "drop";
    case FaultTable::Action::Cut:
        return "cut";
    case FaultTable::Action::Malformed:
        return "malformed";
    case FaultTable::Action::Redirect:
        return "redirect";
    }
    return "respond";
}

bool pathMatches(const std::string& pattern, const std::string& path) {
    if (!pattern.empty() && pattern.back() == '*')
        return path.compare(0, pattern.size() - 1, pattern, 0, pattern.size() - 1) == 0;
    return pattern == path;
}

} // namespace

std::optional<FaultTable::Fault> FaultTable::fromJson(const QJsonObject& json, std::string* error) {
    Fault fault;
    if (!json.value(QStringLiteral("path")).isString()) {
        *error = "a fault needs a \"path\"";
        return std::nullopt;
    }
    fault.path = SimJson::toStd(json.value(QStringLiteral("path")).toString());
    fault.method = SimJson::toStd(json.value(QStringLiteral("method")).toString().toUpper());
    fault.bodyContains = SimJson::toStd(json.value(QStringLiteral("body_contains")).toString());
    fault.delayMs = static_cast<int>(SimJson::integer(json.value(QStringLiteral("delay_ms")), 0));
    fault.remaining = static_cast<int>(SimJson::integer(json.value(QStringLiteral("times")), 1));
    if (fault.remaining == 0)
        fault.remaining = -1;

    const bool hasStatus = json.contains(QStringLiteral("status"));
    const QString action = json.value(QStringLiteral("action")).toString();
    if (action.isEmpty())
        fault.action = (hasStatus || fault.delayMs == 0) ? Action::Respond : Action::Delay;
    else if (action == QLatin1String("respond"))
        fault.action = Action::Respond;
    else if (action == QLatin1String("delay"))
        fault.action = Action::Delay;
    else if (action == QLatin1String("drop"))
        fault.action = Action::Drop;
    else if (action == QLatin1String("cut"))
        fault.action = Action::Cut;
    else if (action == QLatin1String("malformed"))
        fault.action = Action::Malformed;
    else if (action == QLatin1String("redirect"))
        fault.action = Action::Redirect;
    else {
        *error = "unknown fault action \"" + SimJson::toStd(action) + "\"";
        return std::nullopt;
    }

    const int defaultStatus =
        fault.action == Action::Respond ? 500 : (fault.action == Action::Redirect ? 302 : 200);
    fault.status = static_cast<int>(SimJson::integer(json.value(QStringLiteral("status")), defaultStatus));
    if (fault.status < 100 || fault.status > 599) {
        *error = "a fault's status must lie between 100 and 599";
        return std::nullopt;
    }

    if (json.contains(QStringLiteral("json"))) {
        fault.body = SimJson::dump(json.value(QStringLiteral("json")));
        fault.contentType = "application/json";
    } else if (json.value(QStringLiteral("body")).isString()) {
        fault.body = SimJson::toStd(json.value(QStringLiteral("body")).toString());
        fault.contentType = "text/plain; charset=utf-8";
    } else if (fault.action == Action::Malformed) {
        fault.body = R"({"id": "broken", "reply": "This answer stops in the mid)";
        fault.contentType = "application/json";
    } else if (fault.action == Action::Cut) {
        fault.body = R"({"reply": "The connection goes before this ends, )";
        fault.contentType = "application/json";
    }
    if (fault.action == Action::Redirect) {
        if (!json.value(QStringLiteral("location")).isString()) {
            *error = "a redirect needs a \"location\"";
            return std::nullopt;
        }
        fault.location = SimJson::toStd(json.value(QStringLiteral("location")).toString());
    }
    fault.padBytes = static_cast<std::size_t>(
        std::max<qint64>(0, SimJson::integer(json.value(QStringLiteral("pad_bytes")), 0)));
    if (json.value(QStringLiteral("content_type")).isString())
        fault.contentType = SimJson::toStd(json.value(QStringLiteral("content_type")).toString());
    return fault;
}

QJsonObject FaultTable::toJson(const Fault& fault) {
    QJsonObject json{
        {QStringLiteral("id"), SimJson::toQString(fault.id)},
        {QStringLiteral("path"), SimJson::toQString(fault.path)},
        {QStringLiteral("body_contains"), SimJson::toQString(fault.bodyContains)},
        {QStringLiteral("action"), QString::fromLatin1(actionName(fault.action))},
        {QStringLiteral("status"), fault.status},
        {QStringLiteral("delay_ms"), fault.delayMs},
        {QStringLiteral("times"),
         fault.remaining < 0 ? QJsonValue(QStringLiteral("until cleared")) : QJsonValue(fault.remaining)},
        {QStringLiteral("fired"), fault.fired},
    };
    if (!fault.method.empty())
        json.insert(QStringLiteral("method"), SimJson::toQString(fault.method));
    if (!fault.location.empty())
        json.insert(QStringLiteral("location"), SimJson::toQString(fault.location));
    return json;
}

std::optional<FaultTable::Fault> FaultTable::add(Fault fault) {
    std::lock_guard lock(mutex_);
    if (faults_.size() >= maxFaults)
        return std::nullopt;
    fault.id = "f-" + std::to_string(nextId_++);
    faults_.push_back(fault);
    return fault;
}

std::optional<FaultTable::Fault> FaultTable::take(const std::string& method, const std::string& path,
                                                  const std::string& body) {
    std::lock_guard lock(mutex_);
    for (auto it = faults_.begin(); it != faults_.end(); ++it) {
        // HEAD is answered as GET, so a GET rule covers it too.
        const bool methodOk =
            it->method.empty() || it->method == method || (it->method == "GET" && method == "HEAD");
        if (!methodOk || !pathMatches(it->path, path) ||
            (!it->bodyContains.empty() && body.find(it->bodyContains) == std::string::npos))
            continue;
        ++it->fired;
        Fault fired = *it;
        if (it->remaining > 0 && --it->remaining == 0)
            faults_.erase(it);
        return fired;
    }
    return std::nullopt;
}

QJsonArray FaultTable::list() const {
    std::lock_guard lock(mutex_);
    QJsonArray out;
    for (const Fault& fault : faults_)
        out.append(toJson(fault));
    return out;
}

bool FaultTable::remove(const std::string& id) {
    std::lock_guard lock(mutex_);
    for (auto it = faults_.begin(); it != faults_.end(); ++it) {
        if (it->id == id) {
            faults_.erase(it);
            return true;
        }
    }
    return false;
}

void FaultTable::clear() {
    std::lock_guard lock(mutex_);
    faults_.clear();
}
