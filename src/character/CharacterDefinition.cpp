#include "character/CharacterDefinition.h"

#include "base/Json.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

std::optional<Step> decodeStep(const QJsonValue& value) {
    if (!value.isObject()) {
        return std::nullopt;
    }
    const auto o = value.toObject();
    Step step;
    const auto ms = base::json::integer(o, QStringLiteral("ms"));
    if (!ms) {
        return std::nullopt;
    }
    step.ms = *ms;
    const auto cell = o.value(QStringLiteral("cell"));
    if (!cell.isUndefined() && !cell.isNull()) {
        const auto index = base::json::integer(o, QStringLiteral("cell"));
        if (!index) {
            return std::nullopt;
        }
        step.cell = *index;
    }
    const auto sound = o.value(QStringLiteral("sound"));
    if (!sound.isUndefined() && !sound.isNull()) {
        if (!sound.isString()) {
            return std::nullopt;
        }
        step.sound = sound.toString();
    }
    return step;
}

} // namespace

std::optional<CharacterDefinition> CharacterDefinition::decode(const QByteArray& json) {
    using namespace base::json;
    const auto root = parseObject(json);
    if (!root) {
        return std::nullopt;
    }
    CharacterDefinition d;
    const auto id = string(*root, QStringLiteral("id"));
    const auto name = string(*root, QStringLiteral("name"));
    const auto width = number(*root, QStringLiteral("width"));
    const auto height = number(*root, QStringLiteral("height"));
    const auto columns = integer(*root, QStringLiteral("columns"));
    const auto rows = integer(*root, QStringLiteral("rows"));
    const auto rest = integer(*root, QStringLiteral("rest"));
    const auto animations = object(*root, QStringLiteral("animations"));
    const auto idle = array(*root, QStringLiteral("idle"));
    if (!id || !name || !width || !height || !columns || !rows || !rest || !animations || !idle) {
        return std::nullopt;
    }
    d.id = *id;
    d.name = *name;
    d.width = *width;
    d.height = *height;
    d.columns = *columns;
    d.rows = *rows;
    d.rest = *rest;
    for (auto it = animations->begin(); it != animations->end(); ++it) {
        if (!it.value().isArray()) {
            return std::nullopt;
        }
        QVector<Step> steps;
        for (const auto& value : it.value().toArray()) {
            auto step = decodeStep(value);
            if (!step) {
                return std::nullopt;
            }
            steps.append(*step);
        }
        d.animations.insert(it.key(), steps);
    }
    for (const auto& tier : *idle) {
        if (!tier.isArray()) {
            return std::nullopt;
        }
        QStringList names;
        for (const auto& name : tier.toArray()) {
            if (!name.isString()) {
                return std::nullopt;
            }
            names << name.toString();
        }
        d.idle.append(names);
    }
    return d;
}
