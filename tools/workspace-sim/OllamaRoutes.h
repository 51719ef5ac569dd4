#pragma once

#include <QJsonArray>
#include <QString>

class Router;
class SimServer;
struct Call;

// The two calls of the local model's server that the program makes, at the root: "api/tags" and
// "api/chat", the latter whole or streamed as one JSON object a line.
class OllamaRoutes {
public:
    explicit OllamaRoutes(SimServer& sim);
    void install(Router& router);

    // What the model says when no reply is set: a short day report in Markdown.
    static QString defaultReply(const QJsonArray& messages, bool wantsJson);

private:
    void tags(Call& call);
    void chat(Call& call);

    SimServer& sim_;
};
