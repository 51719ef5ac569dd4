#include "TurnScript.h"

#include "SimJson.h"

#include <QJsonArray>

#include <algorithm>

std::optional<TurnScript> TurnScript::fromJson(const QJsonObject& json, std::string* error) {
    TurnScript script;
    if (json.value(QStringLiteral("thread")).isString())
        script.threadId = SimJson::toStd(json.value(QStringLiteral("thread")).toString());
    script.status = static_cast<int>(SimJson::integer(json.value(QStringLiteral("status")), 200));
    if (script.status < 100 || script.status > 599) {
        *error = "status must lie between 100 and 599";
        return std::nullopt;
    }
    if (json.contains(QStringLiteral("reply")))
        script.reply = json.value(QStringLiteral("reply"));
    if (json.value(QStringLiteral("reply_raw")).isString())
        script.replyRaw = SimJson::toStd(json.value(QStringLiteral("reply_raw")).toString());
    script.replyAfterMs = static_cast<int>(SimJson::integer(json.value(QStringLiteral("reply_after_ms")), 0));

    const QJsonValue steps = json.value(QStringLiteral("steps"));
    if (!steps.isUndefined() && !steps.isArray()) {
        *error = "\"steps\" must be an array";
        return std::nullopt;
    }
    for (const QJsonValue& value : steps.toArray()) {
        if (!value.isObject()) {
            *error = "each step must be an object";
            return std::nullopt;
        }
        QJsonObject object = value.toObject();
        Step step;
        step.afterMs = static_cast<int>(
            std::clamp<qint64>(SimJson::integer(object.value(QStringLiteral("after_ms")), 0), 0, 600000));
        object.remove(QStringLiteral("after_ms"));
        if (object.value(QStringLiteral("raw")).isString()) {
            step.type = Step::Type::Raw;
            step.raw = SimJson::toStd(object.value(QStringLiteral("raw")).toString());
        } else if (object.value(QStringLiteral("event")).isString()) {
            step.type = Step::Type::Event;
            step.eventName = SimJson::toStd(object.value(QStringLiteral("event")).toString());
            const QJsonValue data = object.value(QStringLiteral("data"));
            step.eventData = data.isString() ? SimJson::toStd(data.toString()) : SimJson::dump(data);
        } else if (object.value(QStringLiteral("kind")).toString() == QLatin1String("reply")) {
            step.type = Step::Type::Reply;
        } else if (object.contains(QStringLiteral("kind"))) {
            step.type = Step::Type::Progress;
            if (object.value(QStringLiteral("kind")).toString() == QLatin1String("tool") &&
                !object.contains(QStringLiteral("state")))
                object.insert(QStringLiteral("state"), QStringLiteral("started"));
            step.progress = object;
        } else {
            *error = "a step needs \"kind\", \"event\" or \"raw\"";
            return std::nullopt;
        }
        script.steps.push_back(std::move(step));
    }
    if (script.steps.size() > 10000) {
        *error = "too many steps";
        return std::nullopt;
    }
    return script;
}

void TurnScript::addStreamedText(const QString& text, int firstAfterMs, int pieceMs, int minPiece,
                                 int maxPiece) {
    int offset = 0;
    bool first = true;
    while (offset < text.size()) {
        int length = SimJson::randomBetween(minPiece, maxPiece);
        length = std::min<int>(length, static_cast<int>(text.size()) - offset);
        // Never split a surrogate pair: a piece is whole characters, its offset UTF-16 units.
        if (offset + length < text.size() && text.at(offset + length).isLowSurrogate())
            ++length;
        Step step;
        step.afterMs = first ? firstAfterMs : pieceMs;
        step.progress = QJsonObject{{QStringLiteral("kind"), QStringLiteral("delta")},
                                    {QStringLiteral("text"), text.mid(offset, length)},
                                    {QStringLiteral("offset"), offset}};
        steps.push_back(step);
        offset += length;
        first = false;
    }
    Step done;
    done.afterMs = pieceMs;
    done.progress =
        QJsonObject{{QStringLiteral("kind"), QStringLiteral("done")}, {QStringLiteral("text"), text}};
    steps.push_back(done);
}

void TurnScript::addTool(const QString& tool, int afterMs, int runMs) {
    Step started;
    started.afterMs = afterMs;
    started.progress = QJsonObject{{QStringLiteral("kind"), QStringLiteral("tool")},
                                   {QStringLiteral("tool"), tool},
                                   {QStringLiteral("state"), QStringLiteral("started")}};
    steps.push_back(started);
    Step finished;
    finished.afterMs = runMs;
    finished.progress = QJsonObject{{QStringLiteral("kind"), QStringLiteral("tool")},
                                    {QStringLiteral("tool"), tool},
                                    {QStringLiteral("state"), QStringLiteral("finished")}};
    steps.push_back(finished);
}

void TurnScript::addOptions(const QJsonValue& options, int afterMs) {
    Step step;
    step.afterMs = afterMs;
    step.progress = QJsonObject{{QStringLiteral("kind"), QStringLiteral("options")},
                                {QStringLiteral("options"), options}};
    steps.push_back(step);
}

void TurnScript::addReplyMarker(int afterMs) {
    Step step;
    step.type = Step::Type::Reply;
    step.afterMs = afterMs;
    steps.push_back(step);
}

QString TurnScript::finalText() const {
    QString text;
    QString done;
    for (const Step& step : steps) {
        if (step.type != Step::Type::Progress)
            continue;
        const QString kind = step.progress.value(QStringLiteral("kind")).toString();
        const QJsonValue piece = step.progress.value(QStringLiteral("text"));
        if (!piece.isString())
            continue;
        if (kind == QLatin1String("delta")) {
            qsizetype keep = text.size();
            const QJsonValue offset = step.progress.value(QStringLiteral("offset"));
            if (offset.isDouble())
                keep = std::clamp<qsizetype>(static_cast<qsizetype>(offset.toDouble()), 0, text.size());
            text = text.left(keep) + piece.toString();
        } else if (kind == QLatin1String("done") && !piece.toString().isEmpty()) {
            done = piece.toString();
        }
    }
    return done.isEmpty() ? text : done;
}

std::size_t TurnScript::replyIndex() const {
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (steps[i].type == Step::Type::Reply)
            return i;
    }
    return steps.size();
}

TurnScript TurnScript::echo(const QString& message) {
    TurnScript script;
    const QString text = QStringLiteral("You said: ") + message;
    script.addStreamedText(text, 0, 0, 8, 8);
    return script;
}
