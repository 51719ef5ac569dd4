#include "WorkspaceRoutes.h"

#include "DemoCompany.h"
#include "MailMessage.h"
#include "Multipart.h"
#include "Router.h"
#include "SimJson.h"
#include "SimServer.h"

#include <httplib.h>

#include <algorithm>

namespace {

const QStringList knownAgents{QStringLiteral("dorn"), QStringLiteral("lirra"), QStringLiteral("morvo"),
                              QStringLiteral("pelka")};

// The workspace's validation error: a list of what is wrong, not a text.
void invalid(Call& call, const QString& field, const QString& message) {
    call.json(422, QJsonObject{{QStringLiteral("detail"),
                                QJsonArray{QJsonObject{
                                    {QStringLiteral("loc"), QJsonArray{QStringLiteral("body"), field}},
                                    {QStringLiteral("msg"), message},
                                    {QStringLiteral("type"), QStringLiteral("value_error")},
                                }}}});
}

QString arg(const Call& call, std::size_t index) {
    return index < call.args.size() ? SimJson::toQString(call.args[index]) : QString();
}

std::string bearer(const Call& call) {
    const std::string header = call.header("Authorization");
    if (header.size() < 7)
        return {};
    std::string scheme = header.substr(0, 7);
    std::transform(scheme.begin(), scheme.end(), scheme.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    if (scheme != "bearer ")
        return {};
    return header.substr(7);
}

} // namespace

WorkspaceRoutes::WorkspaceRoutes(SimServer& sim) : sim_(sim) {}

void WorkspaceRoutes::install(Router& router) {
    auto bind = [this](void (WorkspaceRoutes::*member)(Call&)) {
        return [this, member](Call& call) { (this->*member)(call); };
    };
    router.add("POST", "/api/auth/desktop/token", bind(&WorkspaceRoutes::exchange));
    router.add("GET", "/api/company", bind(&WorkspaceRoutes::company));
    router.add("GET", "/api/auth/me", bind(&WorkspaceRoutes::me));
    router.add("GET", "/api/agents", bind(&WorkspaceRoutes::agents));
    router.add("POST", "/api/notifications/([^/]+)/read", bind(&WorkspaceRoutes::markRead));
    router.add("POST", "/api/chat/threads", bind(&WorkspaceRoutes::createThread));
    router.add("POST", "/api/chat/threads/from-notification/([^/]+)",
               bind(&WorkspaceRoutes::threadFromNotification));
    router.add("GET", "/api/chat/threads/([^/]+)/messages", bind(&WorkspaceRoutes::messages));
    router.add("POST", "/api/chat/threads/([^/]+)/turn", bind(&WorkspaceRoutes::turn));
    router.add("GET", "/api/approvals/([^/]+)", bind(&WorkspaceRoutes::approval));
    router.add("POST", "/api/approvals/([^/]+)/(approve|reject)", bind(&WorkspaceRoutes::decide));
    router.add("POST", "/api/knowledge/documents", bind(&WorkspaceRoutes::upload));
    router.add("GET", "/api/knowledge/documents", bind(&WorkspaceRoutes::documents));
    router.add("POST", "/api/inbox/forward", bind(&WorkspaceRoutes::forwardEmail));
    router.add("GET", "/api/events/stream", bind(&WorkspaceRoutes::eventStream));
    router.add("GET", "/api/time/state", bind(&WorkspaceRoutes::timeState));
    router.add("POST", "/api/time/entries", bind(&WorkspaceRoutes::startTimer));
    router.add("POST", "/api/time/entries/([^/]+)/stop", bind(&WorkspaceRoutes::stopTimer));
    router.add("GET", "/api/time/recent", bind(&WorkspaceRoutes::recentTimers));
    router.add("GET", "/api/dorn/board", bind(&WorkspaceRoutes::board));
}

bool WorkspaceRoutes::authorised(Call& call) {
    const std::string token = bearer(call);
    if (!token.empty() && sim_.state().tokenValid(token))
        return true;
    call.response.set_header("WWW-Authenticate", "Bearer");
    call.detail(401, token.empty() ? "Not authenticated" : "Invalid or expired token");
    return false;
}

void WorkspaceRoutes::exchange(Call& call) {
    // The desktop key comes as a bearer credential, and only here.
    const auto issued = sim_.state().exchange(bearer(call));
    if (!issued) {
        call.response.set_header("WWW-Authenticate", "Bearer");
        call.detail(401, "This desktop key is not valid or has been revoked");
        return;
    }
    QJsonObject body{
        {QStringLiteral("access_token"), SimJson::toQString(issued->token)},
        {QStringLiteral("token_type"), QStringLiteral("bearer")},
    };
    if (!issued->expiresIn.isUndefined())
        body.insert(QStringLiteral("expires_in"), issued->expiresIn);
    call.json(200, body);
}

void WorkspaceRoutes::company(Call& call) {
    call.json(200, sim_.state().company());
}

void WorkspaceRoutes::me(Call& call) {
    if (authorised(call))
        call.json(200, sim_.state().me());
}

void WorkspaceRoutes::agents(Call& call) {
    if (authorised(call))
        call.json(200, QJsonObject{{QStringLiteral("agents"), sim_.state().agents()}});
}

void WorkspaceRoutes::markRead(Call& call) {
    if (!authorised(call))
        return;
    const QString id = arg(call, 0);
    if (!sim_.state().markRead(id)) {
        call.detail(404, "Notification not found");
        return;
    }
    sim_.hub().publishEvent(
        "vantle.event",
        SimJson::dump(QJsonObject{{QStringLiteral("type"), QStringLiteral("notification.read")},
                                  {QStringLiteral("data"), QJsonObject{{QStringLiteral("id"), id}}}}));
    call.json(200, QJsonObject{{QStringLiteral("id"), id}, {QStringLiteral("read"), true}});
}

void WorkspaceRoutes::createThread(Call& call) {
    if (!authorised(call))
        return;
    const auto body = call.jsonObjectBody();
    if (!body) {
        invalid(call, QStringLiteral("body"), QStringLiteral("a JSON object is required"));
        return;
    }
    const QJsonArray participants = body->value(QStringLiteral("participants")).toArray();
    QString agent;
    for (const QJsonValue& participant : participants) {
        const QJsonObject object = participant.toObject();
        if (object.value(QStringLiteral("type")).toString() == QLatin1String("agent") &&
            object.value(QStringLiteral("ref")).isString()) {
            agent = object.value(QStringLiteral("ref")).toString();
            break;
        }
    }
    if (agent.isEmpty()) {
        invalid(call, QStringLiteral("participants"), QStringLiteral("an agent participant is required"));
        return;
    }
    if (!knownAgents.contains(agent)) {
        call.detail(422, "Unknown agent: " + SimJson::toStd(agent));
        return;
    }
    call.json(201, sim_.state().createThread(agent, *body));
}

void WorkspaceRoutes::threadFromNotification(Call& call) {
    if (!authorised(call))
        return;
    const auto thread = sim_.state().threadFromNotification(arg(call, 0));
    if (!thread) {
        call.detail(404, "Notification not found");
        return;
    }
    call.json(200, *thread);
}

void WorkspaceRoutes::messages(Call& call) {
    if (!authorised(call))
        return;
    bool ok = false;
    int limit = SimJson::toQString(call.query("limit")).toInt(&ok);
    if (!ok)
        limit = 50;
    limit = std::clamp(limit, 1, 200);
    const auto messages = sim_.state().messages(arg(call, 0), limit);
    if (!messages) {
        call.detail(404, "Thread not found");
        return;
    }
    call.json(200, QJsonObject{{QStringLiteral("threadId"), arg(call, 0)},
                               {QStringLiteral("messages"), *messages}});
}

void WorkspaceRoutes::playStep(const TurnScript::Step& step, const std::string& turnId) {
    switch (step.type) {
    case TurnScript::Step::Type::Progress: {
        QJsonObject data = step.progress;
        if (!data.contains(QStringLiteral("turnId")))
            data.insert(QStringLiteral("turnId"), SimJson::toQString(turnId));
        sim_.hub().publishEvent("agent.progress", SimJson::dump(data));
        break;
    }
    case TurnScript::Step::Type::Event:
        sim_.hub().publishEvent(step.eventName, step.eventData);
        break;
    case TurnScript::Step::Type::Raw:
        sim_.hub().publishRaw({}, step.raw, 1, {});
        break;
    case TurnScript::Step::Type::Reply:
        break;
    }
}

void WorkspaceRoutes::turn(Call& call) {
    if (!authorised(call))
        return;
    const QString threadId = arg(call, 0);
    const auto agent = sim_.state().threadAgent(threadId);
    if (!agent) {
        call.detail(404, "Thread not found");
        return;
    }
    const auto body = call.jsonObjectBody();
    if (!body || !body->value(QStringLiteral("message")).isString()) {
        invalid(call, QStringLiteral("message"), QStringLiteral("field required"));
        return;
    }
    const QString message = body->value(QStringLiteral("message")).toString();
    const QString turnId = body->value(QStringLiteral("turnId")).isString()
                               ? body->value(QStringLiteral("turnId")).toString()
                               : SimJson::newId(QStringLiteral("turn"));
    const QString choiceRef = body->value(QStringLiteral("choiceRef")).toString();
    const QJsonArray attachments = body->value(QStringLiteral("attachmentIds")).toArray();
    QJsonObject userMeta;
    if (!attachments.isEmpty())
        userMeta.insert(QStringLiteral("attachmentIds"), attachments);
    if (!choiceRef.isEmpty())
        userMeta.insert(QStringLiteral("choiceRef"), choiceRef);
    sim_.state().addMessage(threadId, QStringLiteral("user"), message, userMeta);

    auto script = sim_.state().takeTurnScript(SimJson::toStd(threadId));
    if (!script) {
        script = sim_.demo()
                     ? sim_.demo()->answer(*agent, message, choiceRef, static_cast<int>(attachments.size()))
                     : TurnScript::echo(message);
    }

    const std::string turn = SimJson::toStd(turnId);
    const auto start = EventHub::Clock::now();
    const std::size_t replyAt = script->replyIndex();
    // Steps after the reply go to the timer thread, at their times counted from the start.
    qint64 later = 0;
    for (std::size_t i = 0; i < script->steps.size(); ++i) {
        later += script->steps[i].afterMs;
        if (i <= replyAt)
            continue;
        const auto due = start + std::chrono::milliseconds(later);
        const auto delay =
            std::chrono::duration_cast<std::chrono::milliseconds>(due - EventHub::Clock::now());
        sim_.hub().schedule(delay, [this, step = script->steps[i], turn] { playStep(step, turn); });
    }
    // Steps before it are played here, so that they are on the stream before the reply leaves.
    qint64 elapsed = 0;
    for (std::size_t i = 0; i < std::min(replyAt, script->steps.size()); ++i) {
        elapsed += script->steps[i].afterMs;
        if (!sim_.hub().sleepUntil(start + std::chrono::milliseconds(elapsed))) {
            call.detail(503, "The workspace is shutting down");
            return;
        }
        playStep(script->steps[i], turn);
    }
    if (replyAt < script->steps.size())
        elapsed += script->steps[replyAt].afterMs;
    elapsed += script->replyAfterMs;
    if (!sim_.hub().sleepUntil(start + std::chrono::milliseconds(elapsed))) {
        call.detail(503, "The workspace is shutting down");
        return;
    }

    const QString text = script->finalText();
    QJsonObject agentMeta;
    for (const auto& step : script->steps) {
        if (step.type == TurnScript::Step::Type::Progress &&
            step.progress.value(QStringLiteral("kind")).toString() == QLatin1String("options"))
            agentMeta.insert(QStringLiteral("options"), step.progress.value(QStringLiteral("options")));
    }
    sim_.state().addMessage(threadId, QStringLiteral("agent"), text, agentMeta);

    if (script->replyRaw) {
        call.text(script->status, *script->replyRaw, "application/json");
    } else if (script->reply) {
        call.json(script->status, *script->reply);
    } else {
        QJsonObject thread{{QStringLiteral("id"), threadId}};
        if (!agent->isEmpty())
            thread.insert(QStringLiteral("agentId"), *agent);
        call.json(script->status, QJsonObject{
                                      {QStringLiteral("reply"), text},
                                      {QStringLiteral("thread"), thread},
                                      {QStringLiteral("turnId"), turnId},
                                  });
    }
}

void WorkspaceRoutes::approval(Call& call) {
    if (!authorised(call))
        return;
    const auto approval = sim_.state().approval(arg(call, 0));
    if (!approval) {
        call.detail(404, "Approval not found");
        return;
    }
    call.json(200, *approval);
}

void WorkspaceRoutes::decide(Call& call) {
    if (!authorised(call))
        return;
    QJsonObject body;
    if (!call.request.body.empty()) {
        const auto parsed = call.jsonObjectBody();
        if (!parsed) {
            invalid(call, QStringLiteral("body"), QStringLiteral("a JSON object is required"));
            return;
        }
        body = *parsed;
    }
    const bool approve = call.args.size() > 1 && call.args[1] == "approve";
    QJsonObject result;
    switch (sim_.state().decide(arg(call, 0), approve, body.value(QStringLiteral("decisionNote")), &result)) {
    case SimState::Decision::NotFound:
        call.detail(404, "Approval not found");
        return;
    case SimState::Decision::Forbidden:
        call.detail(403, "You are not allowed to decide this approval.");
        return;
    case SimState::Decision::AlreadyDecided:
        call.detail(409, "This approval was already " +
                             SimJson::toStd(result.value(QStringLiteral("status")).toString()) + ".");
        return;
    case SimState::Decision::Done:
        call.json(200, result);
        return;
    }
}

namespace {

// The uploaded file's part, or an answer already written.
std::optional<Multipart::Part> filePart(Call& call, std::vector<Multipart::Part>* all) {
    const auto boundary = Multipart::boundary(call.header("Content-Type"));
    if (!boundary) {
        call.detail(415, "Expected multipart/form-data");
        return std::nullopt;
    }
    auto parts = Multipart::parse(call.request.body, *boundary);
    if (!parts) {
        call.detail(400, "Malformed multipart body");
        return std::nullopt;
    }
    *all = *parts;
    for (const auto& part : *parts) {
        if (part.name == "file" && part.filename)
            return part;
    }
    invalid(call, QStringLiteral("file"), QStringLiteral("field required"));
    return std::nullopt;
}

} // namespace

void WorkspaceRoutes::upload(Call& call) {
    if (!authorised(call))
        return;
    std::vector<Multipart::Part> parts;
    const auto file = filePart(call, &parts);
    if (!file)
        return;
    QString folder = QStringLiteral("Uploads");
    for (const auto& part : parts) {
        if (part.name == "folder" && !part.filename && !part.data.empty())
            folder = SimJson::toQString(part.data);
    }
    const QString origin = QStringLiteral("http://") + SimJson::toQString(call.header("Host")) +
                           SimJson::toQString(sim_.options().base);
    call.json(201, sim_.state().addDocument(SimJson::toQString(*file->filename), folder, file->data, origin));
}

void WorkspaceRoutes::documents(Call& call) {
    if (authorised(call))
        call.json(200, QJsonObject{{QStringLiteral("documents"), sim_.state().documents()}});
}

void WorkspaceRoutes::forwardEmail(Call& call) {
    if (!authorised(call))
        return;
    std::vector<Multipart::Part> parts;
    const auto file = filePart(call, &parts);
    if (!file)
        return;
    if (file->data.empty()) {
        call.detail(422, "The message is empty");
        return;
    }
    call.json(200, sim_.state().forwardEmail(MailMessage::read(file->data),
                                             static_cast<qint64>(file->data.size())));
}

void WorkspaceRoutes::eventStream(Call& call) {
    if (!authorised(call))
        return;
    auto subscriber = sim_.hub().subscribe();
    if (!subscriber) {
        call.detail(503, "Too many open streams");
        return;
    }
    EventHub* hub = &sim_.hub();
    call.response.status = 200;
    call.response.set_header("Cache-Control", "no-cache");
    call.response.set_header("X-Accel-Buffering", "no");
    call.response.set_chunked_content_provider(
        "text/event-stream",
        [hub, subscriber](std::size_t, httplib::DataSink& sink) { return hub->pump(*subscriber, sink); },
        [hub, subscriber](bool) { hub->unsubscribe(subscriber); });
}

void WorkspaceRoutes::timeState(Call& call) {
    if (authorised(call))
        call.json(200, sim_.state().timeState());
}

void WorkspaceRoutes::startTimer(Call& call) {
    if (!authorised(call))
        return;
    const auto body = call.jsonObjectBody();
    if (!body) {
        invalid(call, QStringLiteral("body"), QStringLiteral("a JSON object is required"));
        return;
    }
    std::string error;
    const auto entry = sim_.state().startTimer(*body, &error);
    if (!entry) {
        if (error == "id is required")
            invalid(call, QStringLiteral("id"), QStringLiteral("field required"));
        else
            call.detail(409, error);
        return;
    }
    call.json(201, *entry);
}

void WorkspaceRoutes::stopTimer(Call& call) {
    if (!authorised(call))
        return;
    QJsonObject entry;
    switch (sim_.state().stopTimer(arg(call, 0), &entry)) {
    case SimState::StopResult::NotFound:
        call.detail(404, "Time entry not found");
        return;
    case SimState::StopResult::NotRunning:
        call.detail(409, "This timer is not running");
        return;
    case SimState::StopResult::Stopped:
        call.json(200, entry);
        return;
    }
}

void WorkspaceRoutes::recentTimers(Call& call) {
    if (authorised(call))
        call.json(200, QJsonObject{{QStringLiteral("entries"), sim_.state().recentEntries()}});
}

void WorkspaceRoutes::board(Call& call) {
    if (authorised(call))
        call.json(200, sim_.state().board());
}
