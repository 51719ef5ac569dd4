#pragma once

#include <QJsonArray>

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>

namespace httplib {
struct Request;
}

// Every request that reached the workspace or the model routes, oldest first, as the client sent
// it: method, target with its query, headers with lower-case names, raw body. Bounded, so that a
// long demo run can't grow without end; the oldest entries go first.
class RequestLog {
public:
    struct Entry {
        std::uint64_t seq = 0;
        std::string method;
        std::string target;
        std::map<std::string, std::string> headers;
        std::string body;
        // The whole body's length; the log keeps at most maxBodyKept bytes of it.
        std::size_t bodySize = 0;
        std::string time;
    };

    static constexpr std::size_t maxEntries = 5000;
    static constexpr std::size_t maxBytes = 256u * 1024u * 1024u;
    // Enough for any JSON call and the head of an upload, without copying a large file.
    static constexpr std::size_t maxBodyKept = 1024u * 1024u;

    void record(const httplib::Request& request);
    // Entries whose target begins with the prefix (all with an empty one), as JSON.
    QJsonArray toJson(const std::string& targetPrefix = {}) const;
    std::size_t clear();

private:
    mutable std::mutex mutex_;
    std::deque<Entry> entries_;
    std::size_t bytes_ = 0;
    std::uint64_t nextSeq_ = 1;
};
