#include "OllamaRoutes.h"

#include "Router.h"
#include "SimJson.h"
#include "SimServer.h"

#include <httplib.h>

#include <QDateTime>
#include <QJsonObject>

#include <memory>

namespace {

void ollamaError(Call& call, int status, const QString& message) {
    call.json(status, QJsonObject{{QStringLiteral("error"), message}});
}

QString createdAt() {
    return QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz")) +
           QStringLiteral("456789Z");
}

// The reply cut into pieces of a few characters, as a model writes tokens.
QStringList pieces(const QString& text) {
    QStringList out;
    qsizetype at = 0;
    while (at < text.size()) {
        qsizetype length = SimJson::randomBetween(2, 7);
        length = std::min(length, text.size() - at);
        if (at + length < text.size() && text.at(at + length).isLowSurrogate())
            ++length;
        out.append(text.mid(at, length));
        at += length;
    }
    return out;
}

} // namespace

OllamaRoutes::OllamaRoutes(SimServer& sim) : sim_(sim) {}

void OllamaRoutes::install(Router& router) {
    router.add("GET", "/api/tags", [this](Call& call) { tags(call); });
    router.add("POST", "/api/chat", [this](Call& call) { chat(call); });
}

void OllamaRoutes::tags(Call& call) {
    call.json(200, QJsonObject{{QStringLiteral("models"), sim_.state().ollamaModels()}});
}

QString OllamaRoutes::defaultReply(const QJsonArray& messages, bool wantsJson) {
    qsizetype promptSize = 0;
    for (const QJsonValue& message : messages)
        promptSize += message.toObject().value(QStringLiteral("content")).toString().size();
    if (wantsJson)
        return QStringLiteral(R"({"summary":"A focused day, mostly in the editor and the browser."})");
    return QStringLiteral(
               "## The day in short\n\n"
               "Most of the day went to **Harbour Logistics**: route planning in the editor, with two longer "
               "stretches of mail in between. The afternoon was broken up by short switches between the "
               "browser and the chat.\n\n"
               "## Worth noting\n\n"
               "- The longest focused stretch was 1h 25m, before lunch.\n"
               "- About 40 minutes went to mail, spread over nine visits.\n"
               "- Tõnu's review of the Pärnu estimate is still open.\n\n"
               "_Written from %1 characters of activity notes._")
        .arg(promptSize);
}

void OllamaRoutes::chat(Call& call) {
    const auto body = call.jsonObjectBody();
    if (!body) {
        ollamaError(call, 400, QStringLiteral("invalid character 'x' looking for beginning of value"));
        return;
    }
    const QString model = body->value(QStringLiteral("model")).toString();
    if (model.isEmpty()) {
        ollamaError(call, 400, QStringLiteral("model is required"));
        return;
    }
    bool known = false;
    for (const QJsonValue& entry : sim_.state().ollamaModels()) {
        const QString name = entry.toObject().value(QStringLiteral("name")).toString();
        if (name == model || name == model + QStringLiteral(":latest"))
            known = true;
    }
    if (!known) {
        ollamaError(call, 404, QStringLiteral("model \"%1\" not found, try pulling it first").arg(model));
        return;
    }
    const QJsonArray messages = body->value(QStringLiteral("messages")).toArray();
    const QString text = sim_.state().ollamaReply().value_or(
        defaultReply(messages, body->value(QStringLiteral("format")).isObject()));
    // The server streams unless told not to.
    const bool stream = body->value(QStringLiteral("stream")).toBool(true);

    auto finalLine = [model](const QString& content, qsizetype count) {
        return QJsonObject{
            {QStringLiteral("model"), model},
            {QStringLiteral("created_at"), createdAt()},
            {QStringLiteral("message"), QJsonObject{{QStringLiteral("role"), QStringLiteral("assistant")},
                                                    {QStringLiteral("content"), content}}},
            {QStringLiteral("done"), true},
            {QStringLiteral("done_reason"), QStringLiteral("stop")},
            {QStringLiteral("total_duration"), 2143566041LL},
            {QStringLiteral("load_duration"), 21585625LL},
            {QStringLiteral("prompt_eval_count"), 412},
            {QStringLiteral("prompt_eval_duration"), 351000000LL},
            {QStringLiteral("eval_count"), static_cast<qint64>(count)},
            {QStringLiteral("eval_duration"), 1740000000LL},
        };
    };
    if (!stream) {
        call.json(200, finalLine(text, text.size() / 4 + 1));
        return;
    }

    struct Progress {
        QStringList pieces;
        qsizetype next = 0;
        bool finished = false;
    };
    auto progress = std::make_shared<Progress>();
    progress->pieces = pieces(text);
    const int chunkMs = sim_.state().ollamaChunkMs();
    EventHub* hub = &sim_.hub();
    call.response.status = 200;
    call.response.set_chunked_content_provider(
        "application/x-ndjson", [=](std::size_t, httplib::DataSink& sink) {
            if (progress->finished || (chunkMs > 0 && !hub->sleepFor(std::chrono::milliseconds(chunkMs)))) {
                sink.done();
                return true;
            }
            std::string line;
            if (progress->next < progress->pieces.size()) {
                line = SimJson::dump(QJsonObject{
                    {QStringLiteral("model"), model},
                    {QStringLiteral("created_at"), createdAt()},
                    {QStringLiteral("message"),
                     QJsonObject{{QStringLiteral("role"), QStringLiteral("assistant")},
                                 {QStringLiteral("content"), progress->pieces.at(progress->next)}}},
                    {QStringLiteral("done"), false},
                });
                ++progress->next;
            } else {
                line = SimJson::dump(finalLine(QString(), progress->pieces.size()));
                progress->finished = true;
            }
            line += '\n';
            return sink.write(line.data(), line.size());
        });
}
