#include "activity/ActivitySpan.h"
#include "base/Json.h"
#include "character/CharacterDefinition.h"
#include "workspace/ChatChoice.h"
#include "workspace/VantleNotification.h"

#include <QJsonArray>

#include <cstddef>
#include <cstdint>

namespace {

void check(bool holds) {
    if (!holds) {
        __builtin_trap();
    }
}

} // namespace

// Whatever a server or a package file holds, the readers give a record or none, never a crash,
// and a record they give says what the text said.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto object = base::json::parseObject(text);
    if (object) {
        if (const auto n = VantleNotification::fromJson(*object)) {
            check(object->value(QStringLiteral("id")).isString() &&
                  object->value(QStringLiteral("title")).isString());
            check(n->id == object->value(QStringLiteral("id")).toString());
            check(n->title == object->value(QStringLiteral("title")).toString());
        }
        for (const auto& choice : ChatChoice::list(object->value(QStringLiteral("options")))) {
            check(!choice.label.isEmpty() && (!choice.ref || !choice.ref->isEmpty()));
        }
    }
    if (const auto d = CharacterDefinition::decode(text)) {
        check(object.has_value());
        const QJsonObject& root = *object;
        check(d->id == root.value(QStringLiteral("id")).toString());
        check(d->animations.size() == root.value(QStringLiteral("animations")).toObject().size());
        check(d->idle.size() == root.value(QStringLiteral("idle")).toArray().size());
    }
    // A day-log line that reads gives a span that writes back to a line reading the same.
    if (const auto span = ActivityLog::decode(text)) {
        check(span->start.isValid() && span->end.isValid());
        check(ActivityLog::decode(ActivityLog::encode(*span)) == span);
    }
    return 0;
}
