#include "SimServer.h"

#include "ControlRoutes.h"
#include "DemoCompany.h"
#include "OllamaRoutes.h"
#include "SimJson.h"
#include "WorkspaceRoutes.h"

#include <httplib.h>

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>

namespace {

// httplib reads a multipart body into parts and never keeps its bytes; the log needs the bytes.
// So the type is hidden under this name before the body is read, and put back before routing.
const char* const hiddenContentType = "X-Workspace-Sim-Hidden-Content-Type";
// httplib refuses a POST with neither a length nor chunks, though HTTP reads it as an empty body.
// Such a request gets a length of 0 for the reading, marked so that the log doesn't show it.
const char* const addedLength = "X-Workspace-Sim-Added-Length";

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

int portOf(const sockaddr_storage& address) {
    if (address.ss_family == AF_INET)
        return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
    if (address.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
    return -1;
}

// Shuts down the sockets of this server's open connections that `wanted` picks, by their local
// and peer ports. httplib doesn't hand out its sockets, so they are found among the process's
// descriptors. Only shut down, not closed: httplib still owns each descriptor and closes it when
// its next read or write fails.
template <typename Wanted> void shutdownConnections(int localPort, Wanted wanted) {
    DIR* dir = opendir("/proc/self/fd");
    if (!dir)
        return;
    while (dirent* item = readdir(dir)) {
        char* end = nullptr;
        const long fd = std::strtol(item->d_name, &end, 10);
        if (end == item->d_name || *end != '\0')
            continue;
        struct stat info {};
        if (fstat(static_cast<int>(fd), &info) != 0 || !S_ISSOCK(info.st_mode))
            continue;
        sockaddr_storage local{};
        sockaddr_storage peer{};
        socklen_t localSize = sizeof local;
        socklen_t peerSize = sizeof peer;
        if (getsockname(static_cast<int>(fd), reinterpret_cast<sockaddr*>(&local), &localSize) != 0 ||
            getpeername(static_cast<int>(fd), reinterpret_cast<sockaddr*>(&peer), &peerSize) != 0)
            continue;
        if (portOf(local) == localPort && wanted(portOf(peer)))
            shutdown(static_cast<int>(fd), SHUT_RDWR);
    }
    closedir(dir);
}

// Closes the request's connection without an answer.
void dropConnection(const httplib::Request& request) {
    shutdownConnections(request.local_port, [&](int peerPort) { return peerPort == request.remote_port; });
}

std::string htmlEscaped(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '&':
            out += "&amp;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

// The fault's body followed by its padding of spaces, in chunks with no length announced, so that
// the client learns the size only as it reads; written in slices and never held whole.
void setPadded(httplib::Response& response, const FaultTable::Fault& fault) {
    const std::string body = fault.body;
    const std::size_t total = body.size() + fault.padBytes;
    response.set_chunked_content_provider(
        fault.contentType.empty() ? "text/plain" : fault.contentType,
        [body, total](std::size_t offset, httplib::DataSink& sink) {
            if (offset >= total) {
                sink.done();
                return true;
            }
            if (offset < body.size())
                return sink.write(body.data() + offset, body.size() - offset);
            static const std::string spaces(64 * 1024, ' ');
            return sink.write(spaces.data(), std::min(spaces.size(), total - offset));
        });
}

std::string normalisedBase(std::string base) {
    while (!base.empty() && base.back() == '/')
        base.pop_back();
    if (!base.empty() && base.front() != '/')
        base.insert(base.begin(), '/');
    return base;
}

} // namespace

SimServer::SimServer(SimOptions options)
    : options_(std::move(options)), state_(options_.key), server_(std::make_unique<httplib::Server>()) {
    options_.base = normalisedBase(options_.base);
    decodedBase_ = QByteArray::fromPercentEncoding(QByteArray::fromStdString(options_.base)).toStdString();
    if (options_.demo)
        demo_ = std::make_unique<DemoCompany>(*this);
    workspaceRoutes_ = std::make_unique<WorkspaceRoutes>(*this);
    ollamaRoutes_ = std::make_unique<OllamaRoutes>(*this);
    controlRoutes_ = std::make_unique<ControlRoutes>(*this);
    workspaceRoutes_->install(workspace_);
    ollamaRoutes_->install(root_);
    controlRoutes_->install(control_);

    // Streams and long turns each hold a worker; the default pool of 8 is too small for tests
    // that open several at once.
    server_->new_task_queue = [] { return new httplib::ThreadPool(48); };
    server_->set_keep_alive_max_count(1000);
    server_->set_keep_alive_timeout(5);
    server_->set_read_timeout(10);
    server_->set_write_timeout(10);
    server_->set_payload_max_length(512u * 1024u * 1024u);

    server_->set_pre_routing_handler([](const httplib::Request& request, httplib::Response&) {
        auto& writable = const_cast<httplib::Request&>(request);
        auto found = writable.headers.find("Content-Type");
        if (found != writable.headers.end() && lowered(found->second).rfind("multipart/", 0) == 0) {
            const std::string kept = found->first + '\n' + found->second;
            writable.headers.erase(found);
            writable.headers.emplace(hiddenContentType, kept);
        }
        if (!writable.has_header("Content-Length") && !writable.has_header("Transfer-Encoding") &&
            request.method != "GET" && request.method != "HEAD" && request.method != "OPTIONS") {
            writable.headers.emplace("Content-Length", "0");
            writable.headers.emplace(addedLength, "1");
        }
        return httplib::Server::HandlerResponse::Unhandled;
    });
    auto handler = [this](const httplib::Request& request, httplib::Response& response) {
        handle(request, response);
    };
    server_->Get(".*", handler);
    server_->Post(".*", handler);
    server_->Put(".*", handler);
    server_->Patch(".*", handler);
    server_->Delete(".*", handler);
    server_->Options(".*", handler);
    server_->set_exception_handler([](const httplib::Request&, httplib::Response& response,
                                      std::exception_ptr error) {
        std::string what = "internal error";
        try {
            if (error)
                std::rethrow_exception(error);
        } catch (const std::exception& e) {
            what = e.what();
        } catch (...) {
        }
        response.status = 500;
        response.set_content(SimJson::dump(QJsonObject{{QStringLiteral("detail"), SimJson::toQString(what)}}),
                             "application/json");
    });
}

SimServer::~SimServer() {
    stop();
}

int SimServer::bind() {
    if (options_.port == 0)
        port_ = server_->bind_to_any_port("127.0.0.1");
    else
        port_ = server_->bind_to_port("127.0.0.1", options_.port) ? options_.port : -1;
    // The demo's records carry links with the port, so they are made once it is known.
    if (port_ > 0 && demo_)
        demo_->seed();
    return port_;
}

bool SimServer::run() {
    if (demo_)
        demo_->start();
    return server_->listen_after_bind();
}

void SimServer::stop() {
    hub_.stop();
    server_->stop();
    // A connection idle between requests would hold its worker until its keep-alive time-out.
    if (port_ > 0)
        shutdownConnections(port_, [](int) { return true; });
}

QJsonObject SimServer::pushNotification(const QJsonObject& fields, const QJsonArray& threadMessages) {
    const QJsonObject notification = state_.addNotification(fields, threadMessages);
    hub_.publishEvent("vantle.event", SimJson::dump(QJsonObject{
                                          {QStringLiteral("type"), QStringLiteral("notification.created")},
                                          {QStringLiteral("data"), notification},
                                      }));
    return notification;
}

QJsonObject SimServer::pushApproval(const QJsonObject& approvalFields, const QJsonObject& notificationFields,
                                    bool notify) {
    const QJsonObject approval = state_.addApproval(approvalFields);
    QJsonObject result{{QStringLiteral("approval"), approval}};
    if (!notify)
        return result;
    const QString id = approval.value(QStringLiteral("id")).toString();
    QJsonObject fields{
        {QStringLiteral("agentId"), approval.value(QStringLiteral("agent")).toString().toLower()},
        {QStringLiteral("title"), QStringLiteral("Approval needed")},
        {QStringLiteral("message"), approval.value(QStringLiteral("action"))},
        {QStringLiteral("tone"), QStringLiteral("warning")},
        {QStringLiteral("to"), QStringLiteral("/approvals?item=approval:") + id},
    };
    for (auto it = notificationFields.begin(); it != notificationFields.end(); ++it)
        fields.insert(it.key(), it.value());
    result.insert(QStringLiteral("notification"), pushNotification(fields));
    return result;
}

void SimServer::resetAll() {
    hub_.cancelScheduled();
    hub_.closeAll(true);
    hub_.setSettings(EventHub::StreamSettings{});
    faults_.clear();
    log_.clear();
    state_.reset();
    if (demo_) {
        demo_->seed();
        demo_->start();
    }
}

void SimServer::handle(const httplib::Request& request, httplib::Response& response) {
    auto& writable = const_cast<httplib::Request&>(request);
    auto hidden = writable.headers.find(hiddenContentType);
    if (hidden != writable.headers.end()) {
        const std::string kept = hidden->second;
        writable.headers.erase(hidden);
        const auto split = kept.find('\n');
        writable.headers.emplace(kept.substr(0, split), kept.substr(split + 1));
    }
    if (writable.has_header(addedLength)) {
        writable.headers.erase(addedLength);
        writable.headers.erase("Content-Length");
    }

    const std::string& path = request.path;
    if (path == "/sim" || path.rfind("/sim/", 0) == 0) {
        Call call{request, response, {}};
        switch (control_.dispatch(request.method, path, call)) {
        case Router::Result::Handled:
            break;
        case Router::Result::NoPath:
            call.json(404, QJsonObject{{QStringLiteral("error"), QStringLiteral("no such control path")}});
            break;
        case Router::Result::WrongMethod:
            call.json(405, QJsonObject{{QStringLiteral("error"), QStringLiteral("method not allowed here")}});
            break;
        }
        return;
    }

    log_.record(request);
    // Faults name the path as the client sent it, escapes and all.
    const std::string& target = request.target.empty() ? request.path : request.target;
    const std::string sentPath = target.substr(0, target.find('?'));
    if (const auto fault = faults_.take(request.method, sentPath, request.body)) {
        if (applyFault(*fault, request, response))
            return;
    }
    route(request, response);
}

bool SimServer::applyFault(const FaultTable::Fault& fault, const httplib::Request& request,
                           httplib::Response& response) {
    if (fault.delayMs > 0 && !hub_.sleepFor(std::chrono::milliseconds(fault.delayMs))) {
        response.status = 503;
        return true;
    }
    switch (fault.action) {
    case FaultTable::Action::Delay:
        return false;
    case FaultTable::Action::Drop:
        dropConnection(request);
        response.status = 500;
        return true;
    case FaultTable::Action::Cut: {
        // Announces twice the length, writes half of it, and gives up: the client sees the
        // connection go in the middle of the body.
        const std::string body = fault.body;
        response.status = fault.status;
        response.set_content_provider(
            body.size() * 2 + 1, fault.contentType.empty() ? "application/octet-stream" : fault.contentType,
            [body](std::size_t offset, std::size_t, httplib::DataSink& sink) {
                if (offset == 0 && !body.empty())
                    sink.write(body.data(), body.size());
                return offset == 0 && !body.empty();
            });
        return true;
    }
    case FaultTable::Action::Redirect:
        response.status = fault.status;
        response.set_header("Location", fault.location);
        return true;
    case FaultTable::Action::Respond:
    case FaultTable::Action::Malformed:
        response.status = fault.status;
        if (fault.padBytes > 0)
            setPadded(response, fault);
        else if (!fault.body.empty() || !fault.contentType.empty())
            response.set_content(fault.body, fault.contentType.empty() ? "text/plain" : fault.contentType);
        return true;
    }
    return false;
}

void SimServer::route(const httplib::Request& request, httplib::Response& response) {
    Call call{request, response, {}};
    const std::string& path = request.path;
    switch (root_.dispatch(request.method, path, call)) {
    case Router::Result::Handled:
        return;
    case Router::Result::WrongMethod:
        call.json(405, QJsonObject{{QStringLiteral("error"), QStringLiteral("method not allowed")}});
        return;
    case Router::Result::NoPath:
        break;
    }

    const std::string& base = decodedBase_;
    if (!base.empty() && path != base && path.rfind(base + "/", 0) != 0) {
        call.detail(404, "Not Found");
        return;
    }
    std::string relative = path.substr(base.size());
    if (relative.empty())
        relative = "/";
    switch (workspace_.dispatch(request.method, relative, call)) {
    case Router::Result::Handled:
        return;
    case Router::Result::WrongMethod:
        call.detail(405, "Method Not Allowed");
        return;
    case Router::Result::NoPath:
        break;
    }
    if (relative.rfind("/api/", 0) == 0 || (request.method != "GET" && request.method != "HEAD")) {
        call.detail(404, "Not Found");
        return;
    }
    // Any other page of the workspace, as a browser opens it from a link.
    call.text(200,
              "<!doctype html><html><head><meta charset=\"utf-8\"><title>Vantle</title></head><body>"
              "<h1>Vantle</h1><p>Local workspace simulator. This is the page <code>" +
                  htmlEscaped(relative) + "</code>.</p></body></html>",
              "text/html; charset=utf-8");
}
