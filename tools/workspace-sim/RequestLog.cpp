#include "RequestLog.h"

#include "SimJson.h"

#include <QByteArray>
#include <QJsonObject>

#include <httplib.h>

#include <algorithm>
#include <cctype>

namespace {

// httplib files the peer's and its own address among the headers; they never came over the wire.
bool isLibraryPseudoHeader(const std::string& name) {
    return name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" || name == "LOCAL_PORT";
}

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

} // namespace

void RequestLog::record(const httplib::Request& request) {
    Entry entry;
    entry.method = request.method;
    entry.target = request.target.empty() ? request.path : request.target;
    for (const auto& [name, value] : request.headers) {
        if (isLibraryPseudoHeader(name))
            continue;
        const std::string key = lowered(name);
        auto found = entry.headers.find(key);
        // A field sent twice reads as one list, as HTTP defines it.
        if (found == entry.headers.end())
            entry.headers.emplace(key, value);
        else
            found->second += ", " + value;
    }
    entry.body = request.body.substr(0, maxBodyKept);
    entry.bodySize = request.body.size();
    entry.time = SimJson::toStd(SimJson::nowIso());

    std::lock_guard lock(mutex_);
    entry.seq = nextSeq_++;
    bytes_ += entry.body.size() + entry.target.size();
    entries_.push_back(std::move(entry));
    while (!entries_.empty() && (entries_.size() > maxEntries || bytes_ > maxBytes)) {
        bytes_ -= entries_.front().body.size() + entries_.front().target.size();
        entries_.pop_front();
    }
}

QJsonArray RequestLog::toJson(const std::string& targetPrefix) const {
    std::lock_guard lock(mutex_);
    QJsonArray out;
    for (const Entry& entry : entries_) {
        if (!targetPrefix.empty() && entry.target.rfind(targetPrefix, 0) != 0)
            continue;
        QJsonObject headers;
        for (const auto& [name, value] : entry.headers)
            headers.insert(SimJson::toQString(name), SimJson::toQString(value));
        const QByteArray body = QByteArray::fromStdString(entry.body);
        out.append(QJsonObject{
            {QStringLiteral("seq"), static_cast<qint64>(entry.seq)},
            {QStringLiteral("method"), SimJson::toQString(entry.method)},
            {QStringLiteral("path"), SimJson::toQString(entry.target)},
            {QStringLiteral("headers"), headers},
            {QStringLiteral("body_base64"), QString::fromLatin1(body.toBase64())},
            {QStringLiteral("body_size"), static_cast<qint64>(entry.bodySize)},
            {QStringLiteral("time"), SimJson::toQString(entry.time)},
        });
    }
    return out;
}

std::size_t RequestLog::clear() {
    std::lock_guard lock(mutex_);
    const std::size_t count = entries_.size();
    entries_.clear();
    bytes_ = 0;
    return count;
}
