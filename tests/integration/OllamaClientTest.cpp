#include "chat/OllamaClient.h"
#include "app/Settings.h"
#include "support/SpinUntil.h"
#include "support/WorkspaceFixture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>

using OllamaClient::ClientError;

namespace {

class OllamaClientTest : public WorkspaceFixture {
protected:
    void SetUp() override {
        WorkspaceFixture::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        // The root as a user would write it, with no slash at its end.
        Settings::setValue(QLatin1String(Settings::Key::ollamaURL), sim->rootUrl().toString());
    }
    // A fault on one of the model server's calls, until the next one replaces it.
    void serverFault(const QString& path, QJsonObject rule) const {
        sim->control("DELETE", "/sim/faults");
        rule.insert("path", path);
        rule.insert("times", 0);
        sim->control("POST", "/sim/faults", rule);
    }
    // A streamed body as the server would write it, served whole.
    void streamBody(const QByteArray& body) const {
        serverFault(
            "/api/chat",
            {{"status", 200}, {"body", QString::fromUtf8(body)}, {"content_type", "application/x-ndjson"}});
    }
    OllamaClient::Result<QString> ask(bool streaming, double timeout = 30) {
        heard.clear();
        std::function<void(const QString&)> onText;
        if (streaming) {
            onText = [this](const QString& text) { heard << text; };
        }
        return await(
            OllamaClient::chat("llama3.2", "", {{"user", "How was my day?"}}, std::nullopt, timeout, onText));
    }
    QStringList heard;
};

QString headerOf(const QJsonValue& entry, const QString& name) {
    return entry.toObject().value("headers").toObject().value(name).toString();
}

QByteArray piece(const QString& text) {
    const QJsonObject line{{"done", false},
                           {"message", QJsonObject{{"content", text}, {"role", "assistant"}}}};
    return QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
}

const QByteArray doneLine =
    R"({"done":true,"done_reason":"stop","message":{"content":"","role":"assistant"}})"
    "\n";

std::string describe(const OllamaClient::Result<QString>& result) {
    return result ? result->toStdString() : result.error().localizedDescription().toStdString();
}

} // namespace

TEST_F(OllamaClientTest, AWholeAnswerGoesOutSortedAndComesBackAsItStands) {
    const QString reply = QStringLiteral("  Two lines,\nkept as written.  \n");
    sim->control("POST", "/sim/ollama", QJsonObject{{"reply", reply}});
    const auto plain = await(OllamaClient::chat(
        "llama3.2", "", {{"user", "How was my day?"}, {"assistant", "Fine"}}, std::nullopt, 30));
    ASSERT_TRUE(plain) << describe(plain);
    EXPECT_EQ(*plain, reply);
    auto sent = requestsAt("/api/chat");
    ASSERT_EQ(sent.size(), 1);
    EXPECT_EQ(SimProcess::bodyOf(sent[0]), QByteArray(R"({"messages":[{"content":"","role":"system"},)"
                                                      R"({"content":"How was my day?","role":"user"},)"
                                                      R"({"content":"Fine","role":"assistant"}],)"
                                                      R"("model":"llama3.2","stream":false,"think":false})"));
    EXPECT_EQ(headerOf(sent[0], "content-type"), QStringLiteral("application/json"));
    EXPECT_FALSE(sent[0].toObject().value("headers").toObject().contains("authorization"));

    // A schema goes as the format, and the system prompt still leads.
    const auto shaped =
        await(OllamaClient::chat("llama3.2", "Be brief.", {}, QJsonObject{{"type", "object"}}, 30));
    ASSERT_TRUE(shaped) << describe(shaped);
    sent = requestsAt("/api/chat");
    ASSERT_EQ(sent.size(), 2);
    EXPECT_EQ(SimProcess::bodyOf(sent[1]),
              QByteArray(R"({"format":{"type":"object"},)"
                         R"("messages":[{"content":"Be brief.","role":"system"}],)"
                         R"("model":"llama3.2","stream":false,"think":false})"));

    // An answer without text is no answer.
    const QJsonObject empty{{"status", 200},
                            {"json", QJsonObject{{"message", QJsonObject{{"content", ""}}}}}};
    const QJsonObject textless{{"status", 200}, {"json", QJsonObject{{"message", "Fine"}}}};
    for (const auto& rule : {empty, textless, QJsonObject{{"action", "malformed"}}}) {
        serverFault("/api/chat", rule);
        const auto odd = ask(false);
        ASSERT_FALSE(odd) << describe(odd);
        EXPECT_EQ(odd.error().kind, ClientError::Kind::badResponse);
    }
}

TEST_F(OllamaClientTest, AStreamedAnswerIsHeardPieceByPieceUntilItsLastLine) {
    const QString reply = QStringLiteral("Hello there, this answer comes in many small pieces: õun.");
    sim->control("POST", "/sim/ollama", QJsonObject{{"reply", reply}, {"chunk_ms", 5}});
    auto whole = ask(true);
    ASSERT_TRUE(whole) << describe(whole);
    EXPECT_EQ(*whole, reply);
    ASSERT_GT(heard.size(), 2);
    for (qsizetype i = 1; i < heard.size(); ++i) {
        EXPECT_TRUE(heard[i].startsWith(heard[i - 1]) && heard[i].size() > heard[i - 1].size()) << i;
    }
    EXPECT_EQ(heard.last(), reply);
    EXPECT_TRUE(
        SimProcess::bodyOf(requestsAt("/api/chat").last()).endsWith(R"("stream":true,"think":false})"));

    // Lines that say nothing are passed over; nothing after the last line counts.
    streamBody(piece("Good ") + "not json at all\n{\"message\":[1]}\n\n" + piece("day") + doneLine +
               piece(" and more"));
    whole = ask(true);
    ASSERT_TRUE(whole) << describe(whole);
    EXPECT_EQ(*whole, QStringLiteral("Good day"));
    EXPECT_EQ(heard, QStringList({"Good ", "Good day"}));

    // A stream that just ends gives what came, its last line read even without a line end.
    streamBody(piece("No ") + piece("end").chopped(1));
    whole = ask(true);
    ASSERT_TRUE(whole) << describe(whole);
    EXPECT_EQ(*whole, QStringLiteral("No end"));

    // Nothing but the last line is no answer.
    streamBody("{\"done\":true}\n");
    whole = ask(true);
    ASSERT_FALSE(whole);
    EXPECT_EQ(whole.error().kind, ClientError::Kind::badResponse);
    EXPECT_TRUE(heard.isEmpty());

    // An error after some text throws the text away.
    streamBody(piece("Some text") + "{\"error\":\"model ran out of memory\"}\n" + piece(" more") + doneLine);
    whole = ask(true);
    ASSERT_FALSE(whole);
    EXPECT_EQ(whole.error().localizedDescription(), QStringLiteral("Ollama: model ran out of memory"));
    EXPECT_EQ(heard, QStringList({"Some text"}));

    // A line that never ends is cut off at its bound, and the answer with it.
    serverFault("/api/chat", {{"status", 200},
                              {"body", QString::fromUtf8(piece("Start") + "{\"message\":")},
                              {"pad_bytes", 2 * 1024 * 1024},
                              {"content_type", "application/x-ndjson"}});
    whole = ask(true);
    ASSERT_FALSE(whole) << describe(whole);
    EXPECT_EQ(whole.error().kind, ClientError::Kind::badResponse);
    EXPECT_EQ(heard, QStringList({"Start"}));
}

TEST_F(OllamaClientTest, ACancelStopsTheStreamAtOnce) {
    sim->control("POST", "/sim/ollama",
                 QJsonObject{{"reply", "A long answer that nobody waits for."}, {"chunk_ms", 50}});
    base::Cancel cancel;
    QStringList texts;
    auto task = OllamaClient::chat(
        "llama3.2", "", {}, std::nullopt, 30,
        [&](const QString& text) {
            texts << text;
            cancel.cancel();
        },
        cancel);
    ASSERT_TRUE(spinUntil([&] { return !texts.isEmpty(); }));
    scheduler->advance(0);
    const auto result = await(std::move(task));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, ClientError::Kind::transport);
    EXPECT_EQ(result.error().network, QNetworkReply::OperationCanceledError);
    spinFor(200);
    EXPECT_EQ(texts.size(), 1);
}

TEST_F(OllamaClientTest, RefusalsAndFailuresReadTheSameOnBothRoads) {
    for (const bool streaming : {false, true}) {
        SCOPED_TRACE(streaming ? "streamed" : "whole");
        serverFault("/api/chat", {{"status", 404}, {"json", QJsonObject{{"error", "model 'x' not found"}}}});
        auto result = ask(streaming);
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().localizedDescription(), QStringLiteral("Ollama: model 'x' not found"));

        serverFault("/api/chat", {{"status", 500}, {"body", "<html>Internal error</html>"}});
        result = ask(streaming);
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().localizedDescription(), QStringLiteral("Ollama: HTTP 500"));

        // A redirect is never followed.
        sim->clearRequests();
        serverFault("/api/chat",
                    {{"action", "redirect"}, {"location", sim->rootUrl().toString() + "/api/tags"}});
        result = ask(streaming);
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().localizedDescription(), QStringLiteral("Ollama: HTTP 302"));
        EXPECT_TRUE(requestsAt("/api/tags").isEmpty());

        // A server that hangs up without a word is not there; one that stops half-way broke off.
        serverFault("/api/chat", {{"action", "drop"}});
        result = ask(streaming);
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().kind, ClientError::Kind::unreachable);
        serverFault("/api/chat",
                    {{"action", "cut"}, {"status", 200}, {"body", QString::fromUtf8(piece("Half"))}});
        result = ask(streaming);
        ASSERT_FALSE(result) << describe(result);
        EXPECT_EQ(result.error().kind, ClientError::Kind::transport);
        EXPECT_EQ(result.error().network, QNetworkReply::RemoteHostClosedError);

        serverFault("/api/chat", {{"action", "delay"}, {"delay_ms", 1500}});
        result = ask(streaming, 0.2);
        ASSERT_FALSE(result) << describe(result);
        EXPECT_EQ(result.error().network, QNetworkReply::TimeoutError);
        EXPECT_EQ(result.error().localizedDescription(), QStringLiteral("Ollama did not answer in time."));
    }
}

TEST_F(OllamaClientTest, NothingListeningIsUnreachableAtTheAddressInBothLanguages) {
    QTcpServer probe;
    ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
    const quint16 port = probe.serverPort();
    probe.close();
    const QString address = QStringLiteral("http://127.0.0.1:%1/").arg(port);
    Settings::setValue(QLatin1String(Settings::Key::ollamaURL), address);

    for (const bool streaming : {false, true}) {
        const auto result = ask(streaming);
        ASSERT_FALSE(result);
        EXPECT_EQ(result.error().localizedDescription(),
                  "Can't reach Ollama at " + address + ". Is it running? (ollama serve)");
    }
    const auto listed = await(OllamaClient::models());
    ASSERT_FALSE(listed);
    EXPECT_EQ(listed.error().kind, ClientError::Kind::unreachable);
    Settings::setValue(QLatin1String(Settings::Key::language), "et");
    EXPECT_EQ(listed.error().localizedDescription(),
              "Ollama ei vasta aadressil " + address + ". Kas see töötab? (ollama serve)");
    ClientError timeout;
    timeout.kind = ClientError::Kind::transport;
    timeout.network = QNetworkReply::TimeoutError;
    EXPECT_EQ(timeout.localizedDescription(), QStringLiteral("Ollama ei vastanud õigel ajal."));
}

TEST_F(OllamaClientTest, ModelsAreTheChatModelsInTheServersOrder) {
    auto listed = await(OllamaClient::models());
    ASSERT_TRUE(listed);
    EXPECT_EQ(*listed, QStringList({"llama3.2:latest", "qwen2.5:7b"}));
    ASSERT_EQ(requestsAt("/api/tags").size(), 1);
    EXPECT_EQ(requestsAt("/api/tags")[0].toObject().value("method").toString(), QStringLiteral("GET"));

    const QJsonArray models{QJsonObject{{"name", "b"}, {"capabilities", QJsonArray{"completion", "vision"}}},
                            QJsonObject{{"model", "nameless"}},
                            QJsonObject{{"name", "e"}, {"capabilities", QJsonArray{"embedding"}}}, "a"};
    sim->control("POST", "/sim/ollama", QJsonObject{{"models", models}});
    listed = await(OllamaClient::models());
    ASSERT_TRUE(listed);
    EXPECT_EQ(*listed, QStringList({"b", "a"}));

    // A stored name is taken as it is, without asking; none takes the first installed.
    sim->clearRequests();
    auto model = await(OllamaClient::resolveModel("  mymodel \n"));
    ASSERT_TRUE(model);
    EXPECT_EQ(*model, QStringLiteral("mymodel"));
    EXPECT_TRUE(sim->requests().isEmpty());
    model = await(OllamaClient::resolveModel(" "));
    ASSERT_TRUE(model);
    EXPECT_EQ(*model, QStringLiteral("b"));

    sim->control("POST", "/sim/ollama", QJsonObject{{"models", QJsonArray{}}});
    listed = await(OllamaClient::models());
    ASSERT_TRUE(listed);
    EXPECT_TRUE(listed->isEmpty());
    model = await(OllamaClient::resolveModel(""));
    ASSERT_FALSE(model);
    EXPECT_EQ(model.error().kind, ClientError::Kind::noModels);
    EXPECT_EQ(model.error().localizedDescription(),
              QStringLiteral("Ollama has no chat models installed. Try: ollama pull llama3.2"));
    Settings::setValue(QLatin1String(Settings::Key::language), "et");
    EXPECT_EQ(model.error().localizedDescription(),
              QStringLiteral("Ollamas pole ühtki vestlusmudelit. Proovi: ollama pull llama3.2"));

    for (const QJsonValue& body :
         {QJsonValue(QJsonObject{{"models", QJsonArray{1}}}),
          QJsonValue(QJsonObject{{"models", QJsonObject{}}}), QJsonValue("not json")}) {
        serverFault("/api/tags", body.isString() ? QJsonObject{{"action", "malformed"}}
                                                 : QJsonObject{{"status", 200}, {"json", body}});
        listed = await(OllamaClient::models());
        ASSERT_FALSE(listed);
        EXPECT_EQ(listed.error().localizedDescription(), QStringLiteral("Ollama vastas ootamatult"));
    }
}
