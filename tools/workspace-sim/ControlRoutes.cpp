#include "ControlRoutes.h"

#include "Router.h"
#include "SimJson.h"
#include "SimServer.h"

#include <httplib.h>

#include <algorithm>

namespace {

void error(Call& call, int status, const std::string& text) {
    call.json(status, QJsonObject{{QStringLiteral("error"), SimJson::toQString(text)}});
}

// The control body as an object; an empty body is an empty object.
std::optional<QJsonObject> body(Call& call) {
    if (call.request.body.empty())
        return QJsonObject{};
    auto object = call.jsonObjectBody();
    if (!object)
        error(call, 400, "the body must be a JSON object");
    return object;
}

std::optional<int> optionalInt(const QJsonObject& object, const QString& key) {
    if (!object.value(key).isDouble())
        return std::nullopt;
    return static_cast<int>(SimJson::integer(object.value(key), 0));
}

std::optional<bool> optionalBool(const QJsonObject& object, const QString& key) {
    if (!object.value(key).isBool())
        return std::nullopt;
    return object.value(key).toBool();
}

} // namespace

ControlRoutes::ControlRoutes(SimServer& sim) : sim_(sim) {}

void ControlRoutes::install(Router& router) {
    router.add("GET", "/sim/health", [this](Call& call) {
        call.json(200, QJsonObject{{QStringLiteral("ok"), true},
                                   {QStringLiteral("port"), sim_.port()},
                                   {QStringLiteral("base"), SimJson::toQString(sim_.options().base)},
                                   {QStringLiteral("demo"), sim_.options().demo}});
    });

    router.add("GET", "/sim/state", [this](Call& call) {
        QJsonObject state = sim_.state().snapshot();
        state.insert(QStringLiteral("streams"), sim_.hub().streamCount());
        state.insert(QStringLiteral("scheduled"), static_cast<qint64>(sim_.hub().scheduledCount()));
        state.insert(QStringLiteral("faults"), sim_.faults().list());
        const auto settings = sim_.hub().settings();
        state.insert(
            QStringLiteral("stream"),
            QJsonObject{{QStringLiteral("keepalive_ms"), settings.keepaliveMs},
                        {QStringLiteral("line_end"),
                         settings.lineEnd == "\r\n" ? QStringLiteral("crlf") : QStringLiteral("lf")}});
        call.json(200, state);
    });

    router.add("POST", "/sim/reset", [this](Call& call) {
        sim_.resetAll();
        call.json(200, QJsonObject{{QStringLiteral("reset"), true}});
    });

    // Request log.
    router.add("GET", "/sim/requests",
               [this](Call& call) { call.json(200, sim_.log().toJson(call.query("path_prefix"))); });
    router.add("DELETE", "/sim/requests", [this](Call& call) {
        call.json(200, QJsonObject{{QStringLiteral("cleared"), static_cast<qint64>(sim_.log().clear())}});
    });

    // Desktop key and tokens.
    router.add("POST", "/sim/key", [this](Call& call) {
        const auto json = body(call);
        if (!json)
            return;
        std::optional<std::string> key;
        if (json->value(QStringLiteral("key")).isString())
            key = SimJson::toStd(json->value(QStringLiteral("key")).toString());
        const auto revoked = optionalBool(*json, QStringLiteral("revoked"));
        sim_.state().setKey(key, revoked);
        // A withdrawn key also ends the streams that its tokens opened, as the workspace does.
        if (revoked && *revoked && json->value(QStringLiteral("close_streams")).toBool(true))
            sim_.hub().closeAll(true);
        call.json(200, sim_.state().keyJson());
    });
    router.add("POST", "/sim/tokens", [this](Call& call) {
        const auto json = body(call);
        if (!json)
            return;
        const QJsonValue expiresIn = json->contains(QStringLiteral("expires_in"))
                                         ? json->value(QStringLiteral("expires_in"))
                                         : QJsonValue(3600);
        sim_.state().setTokenLifetime(expiresIn, optionalInt(*json, QStringLiteral("valid_for_s")));
        call.json(200, sim_.state().keyJson());
    });
    router.add("POST", "/sim/tokens/expire", [this](Call& call) {
        call.json(200, QJsonObject{{QStringLiteral("expired"), sim_.state().expireTokens()}});
    });

    // Faults and canned answers.
    router.add("GET", "/sim/faults", [this](Call& call) { call.json(200, sim_.faults().list()); });
    router.add("POST", "/sim/faults", [this](Call& call) {
        const auto json = body(call);
        if (!json)
            return;
        std::string problem;
        auto fault = FaultTable::fromJson(*json, &problem);
        if (!fault) {
            error(call, 400, problem);
            return;
        }
        const auto added = sim_.faults().add(*fault);
        if (!added) {
            error(call, 429, "too many faults");
            return;
        }
        call.json(200, FaultTable::toJson(*added));
    });
    router.add("DELETE", "/sim/faults", [this](Call& call) {
        sim_.faults().clear();
        call.json(200, QJsonObject{{QStringLiteral("cleared"), true}});
    });
    router.add("DELETE", "/sim/faults/([^/]+)", [this](Call& call) {
        if (!sim_.faults().remove(call.args.at(0))) {
            error(call, 404, "no such fault");
            return;
        }
        call.json(200, QJsonObject{{QStringLiteral("removed"), SimJson::toQString(call.args.at(0))}});
    });

    // Scripted turns.
    router.add("POST", "/sim/turns", [this](Call& call) {
        const auto json = body(call);
        if (!json)
            return;
        std::string problem;
        auto script = TurnScript::fromJson(*json, &problem);
        if (!script) {
            error(call, 400, problem);
            return;
        }
        if (!sim_.state().queueTurnScript(std::move(*script))) {
            error(call, 429, "too many scripted turns waiting");
            return;
        }
        call.json(200, QJsonObject{{QStringLiteral("queued"), true}});
    });
    router.add("DELETE", "/sim/turns", [this](Call& call) {
        call.json(200, QJsonObject{{QStringLiteral("cleared"),
                                    static_cast<qint64>(sim_.state().clearTurnScripts())}});
    });

    // The event stream.
    router.add("POST", "/sim/events", [this](Call& call) {
        const auto json = body(call);
        if (!json)
            return;
        if (!json->value(QStringLiteral("event")).isString()) {
            error(call, 400, "\"event\" must be a string");
            return;
        }
        const QJsonValue data = json->value(QStringLiteral("data"));
        sim_.hub().publishEvent(SimJson::toStd(json->value(QStringLiteral("event")).toString()),
                                data.isString() ? SimJson::toStd(data.toString()) : SimJson::dump(data));
        call.json(200, QJsonObject{{QStringLiteral("streams"), sim_.hub().streamCount()}});
    });
    router.add("POST", "/sim/events/raw", [this](Call& call) {
        const auto json = body(call);
        if (!json)
            return;
        const qint64 repeat = std::clamp<qint64>(SimJson::integer(json->value(QStringLiteral("repeat")), 1),
                                                 0, qint64(1) << 32);
        sim_.hub().publishRaw(SimJson::toStd(json->value(QStringLiteral("prefix")).toString()),
                              SimJson::toStd(json->value(QStringLiteral("text")).toString()),
                              static_cast<std::size_t>(repeat),
                              SimJson::toStd(json->value(QStringLiteral("suffix")).toString()));
        call.json(200, QJsonObject{{QStringLiteral("streams"), sim_.hub().streamCount()}});
    });
    router.add("POST", "/sim/stream", [this](Call& call) {
        const auto json = body(call);
        if (!json)
            return;
        auto settings = sim_.hub().settings();
        if (const auto keepalive = optionalInt(*json, QStringLiteral("keepalive_ms")))
            settings.keepaliveMs = std::max(0, *keepalive);
        const QString lineEnd = json->value(QStringLiteral("line_end")).toString();
        if (lineEnd == QLatin1String("crlf"))
            settings.lineEnd = "\r\n";
        else if (lineEnd == QLatin1String("lf"))
            settings.lineEnd = "\n";
        sim_.hub().setSettings(settings);
        call.json(200,
                  QJsonObject{{QStringLiteral("keepalive_ms"), settings.keepaliveMs},
                              {QStringLiteral("line_end"),
                               settings.lineEnd == "\r\n" ? QStringLiteral("crlf") : QStringLiteral("lf")}});
    });
    router.add("POST", "/sim/stream/close", [this](Call& call) {
        const auto json = body(call);
        if (!json)
            return;
        const int open = sim_.hub().streamCount();
        sim_.hub().closeAll(json->value(QStringLiteral("clean")).toBool(true));
        call.json(200, QJsonObject{{QStringLiteral("closed"), open}});
    });

    // Notifications and approvals.
    router.add("POST", "/sim/notifications", [this](Call& call) {
        auto json = body(call);
        if (!json)
            return;
        const QJsonArray threadMessages = json->value(QStringLiteral("thread_messages")).toArray();
        json->remove(QStringLiteral("thread_messages"));
        call.json(
            200, QJsonObject{{QStringLiteral("notification"), sim_.pushNotification(*json, threadMessages)}});
    });
    router.add("POST", "/sim/approvals", [this](Call& call) {
        auto json = body(call);
        if (!json)
            return;
        const QJsonObject notification = json->value(QStringLiteral("notification")).toObject();
        const bool notify = json->value(QStringLiteral("notify")).toBool(true);
        json->remove(QStringLiteral("notification"));
        json->remove(QStringLiteral("notify"));
        call.json(200, sim_.pushApproval(*json, notification, notify));
    });

    // Workspace facts.
    router.add("POST", "/sim/company", [this](Call& call) {
        const auto json = body(call);
        if (!json)
            return;
        sim_.state().mergeCompany(*json);
        call.json(200, sim_.state().company());
    });
    router.add("POST", "/sim/me", [this](Call& call) {
        const auto json = body(call);
        if (!json)
            return;
        sim_.state().setMe(*json);
        call.json(200, sim_.state().me());
    });
    router.add("POST", "/sim/board", [this](Call& call) {
        const auto json = body(call);
        if (!json)
            return;
        sim_.state().setBoard(*json);
        call.json(200, sim_.state().board());
    });
    router.add("POST", "/sim/time", [this](Call& call) {
        const auto json = body(call);
        if (!json)
            return;
        sim_.state().setTimeOptions(optionalBool(*json, QStringLiteral("enabled")),
                                    optionalInt(*json, QStringLiteral("skew_s")));
        call.json(200, sim_.state().timeState());
    });
    router.add("POST", "/sim/ollama", [this](Call& call) {
        const auto json = body(call);
        if (!json)
            return;
        std::optional<QJsonArray> models;
        if (json->value(QStringLiteral("models")).isArray()) {
            QJsonArray list;
            // Plain names are a shorthand for model objects with that name.
            for (const QJsonValue& model : json->value(QStringLiteral("models")).toArray())
                list.append(model.isString() ? QJsonValue(QJsonObject{{QStringLiteral("name"), model},
                                                                      {QStringLiteral("model"), model}})
                                             : model);
            models = list;
        }
        std::optional<QJsonValue> reply;
        if (json->contains(QStringLiteral("reply")))
            reply = json->value(QStringLiteral("reply"));
        sim_.state().setOllama(models, reply, optionalInt(*json, QStringLiteral("chunk_ms")));
        call.json(200, QJsonObject{{QStringLiteral("models"), sim_.state().ollamaModels()},
                                   {QStringLiteral("chunk_ms"), sim_.state().ollamaChunkMs()}});
    });
}
