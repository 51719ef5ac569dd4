#pragma once

#include <QJsonArray>
#include <QJsonObject>

#include <mutex>
#include <optional>
#include <string>
#include <vector>

// Faults that tests put on a path: a canned status and body, a delay, a connection dropped before
// any answer, a connection cut in the middle of the body, a body that isn't valid JSON, or a
// redirect elsewhere. Each
// fires a given number of times, or until it is cleared. The first rule that matches wins.
class FaultTable {
public:
    enum class Action { Respond, Delay, Drop, Cut, Malformed, Redirect };

    struct Fault {
        std::string id;
        std::string method; // empty: any method
        std::string path;   // exact request path, without query; a trailing '*' matches a prefix
        std::string
            bodyContains; // empty: any body; else only requests whose body holds it (one file of several)
        Action action = Action::Respond;
        int status = 500;
        std::string body;
        std::string contentType;
        std::size_t padBytes = 0; // spaces after the body
        std::string location;     // where a redirect points
        int delayMs = 0;
        int remaining = 1; // < 0: until cleared
        int fired = 0;
    };

    static constexpr std::size_t maxFaults = 1000;

    // Reads a rule from the control API's JSON; an error text when the rule is unusable.
    static std::optional<Fault> fromJson(const QJsonObject& json, std::string* error);
    static QJsonObject toJson(const Fault& fault);

    // The rule as stored, with its id; none when the table is full.
    std::optional<Fault> add(Fault fault);
    // The rule that applies to this request, counted as fired; none when no rule matches.
    std::optional<Fault> take(const std::string& method, const std::string& path,
                              const std::string& body = {});
    QJsonArray list() const;
    bool remove(const std::string& id);
    void clear();

private:
    mutable std::mutex mutex_;
    std::vector<Fault> faults_;
    int nextId_ = 1;
};
