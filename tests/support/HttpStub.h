#pragma once

#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <string>

namespace httplib {
class Server;
}

// A small HTTP server on 127.0.0.1 for tests that need only one or two answers. It runs on its
// own thread; handlers must not touch Qt objects of the test.
class HttpStub {
public:
    struct Answer {
        int status = 200;
        std::string body;
        std::string contentType = "application/json";
    };

    HttpStub();
    ~HttpStub();

    // Answers GET requests for this path.
    void get(const std::string& path, std::function<Answer()> answer);
    void start();
    QUrl url(const QString& path = {}) const;
    // Requests that arrived, of any method and to any path.
    int requests() const;

private:
    std::unique_ptr<httplib::Server> server;
    struct State;
    std::shared_ptr<State> state;
    int port = 0;
};
