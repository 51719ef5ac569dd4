#pragma once

#include <QJsonObject>
#include <QJsonValue>

#include <functional>
#include <optional>
#include <regex>
#include <string>
#include <vector>

namespace httplib {
struct Request;
struct Response;
} // namespace httplib

// One request on its way through a route: the request, the response to fill, and the parts of
// the path that the route's pattern captured.
struct Call {
    const httplib::Request& request;
    httplib::Response& response;
    std::vector<std::string> args;

    std::optional<QJsonValue> jsonBody() const;
    std::optional<QJsonObject> jsonObjectBody() const;
    std::string header(const std::string& name) const;
    std::string query(const std::string& name) const;

    void json(int status, const QJsonValue& body);
    void text(int status, const std::string& body, const std::string& contentType);
    // The workspace's error shape: {"detail": "..."}.
    void detail(int status, const std::string& message);
};

// Routes by method and a regular expression over the whole path. HEAD is answered as GET.
class Router {
public:
    using Handler = std::function<void(Call&)>;
    enum class Result { Handled, NoPath, WrongMethod };

    void add(const std::string& method, const std::string& pattern, Handler handler);
    Result dispatch(const std::string& method, const std::string& path, Call& call) const;

private:
    struct Route {
        std::string method;
        std::regex pattern;
        Handler handler;
    };
    std::vector<Route> routes_;
};
