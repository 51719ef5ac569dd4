#include "support/HttpStub.h"

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <thread>

struct HttpStub::State {
    std::atomic<int> requests{0};
    std::thread thread;
};

HttpStub::HttpStub() : server(std::make_unique<httplib::Server>()), state(std::make_shared<State>()) {
    // One request per connection, so that stopping never waits on an idle keep-alive.
    server->set_keep_alive_max_count(1);
    auto s = state;
    server->set_pre_routing_handler([s](const httplib::Request&, httplib::Response&) {
        ++s->requests;
        return httplib::Server::HandlerResponse::Unhandled;
    });
}

HttpStub::~HttpStub() {
    server->stop();
    if (state->thread.joinable()) {
        state->thread.join();
    }
}

void HttpStub::get(const std::string& path, std::function<Answer()> answer) {
    server->Get(path, [answer](const httplib::Request&, httplib::Response& response) {
        const Answer a = answer();
        response.status = a.status;
        response.set_content(a.body, a.contentType);
    });
}

void HttpStub::start() {
    port = server->bind_to_any_port("127.0.0.1");
    state->thread = std::thread([this] { server->listen_after_bind(); });
    while (!server->is_running()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

QUrl HttpStub::url(const QString& path) const {
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(port).arg(path));
}

int HttpStub::requests() const {
    return state->requests;
}
