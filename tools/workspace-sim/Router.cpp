#include "Router.h"

#include "SimJson.h"

#include <httplib.h>

std::optional<QJsonValue> Call::jsonBody() const {
    return SimJson::parse(request.body);
}

std::optional<QJsonObject> Call::jsonObjectBody() const {
    return SimJson::parseObject(request.body);
}

std::string Call::header(const std::string& name) const {
    return request.get_header_value(name);
}

std::string Call::query(const std::string& name) const {
    return request.get_param_value(name);
}

void Call::json(int status, const QJsonValue& body) {
    response.status = status;
    response.set_content(SimJson::dump(body), "application/json");
}

void Call::text(int status, const std::string& body, const std::string& contentType) {
    response.status = status;
    response.set_content(body, contentType);
}

void Call::detail(int status, const std::string& message) {
    json(status, QJsonObject{{QStringLiteral("detail"), SimJson::toQString(message)}});
}

void Router::add(const std::string& method, const std::string& pattern, Handler handler) {
    routes_.push_back(Route{method, std::regex(pattern), std::move(handler)});
}

Router::Result Router::dispatch(const std::string& method, const std::string& path, Call& call) const {
    const std::string effective = method == "HEAD" ? "GET" : method;
    bool pathKnown = false;
    for (const Route& route : routes_) {
        std::smatch match;
        if (!std::regex_match(path, match, route.pattern))
            continue;
        pathKnown = true;
        if (route.method != effective)
            continue;
        call.args.clear();
        for (std::size_t i = 1; i < match.size(); ++i)
            call.args.push_back(match[i].str());
        route.handler(call);
        return Result::Handled;
    }
    return pathKnown ? Result::WrongMethod : Result::NoPath;
}
