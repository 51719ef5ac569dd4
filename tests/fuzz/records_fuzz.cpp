#include "activity/ActivitySpan.h"
#include "base/Json.h"
#include "character/CharacterDefinition.h"
#include "notifications/VantleApproval.h"
#include "panels/DornReport.h"
#include "time/TimerState.h"
#include "workspace/ChatChoice.h"
#include "workspace/VantleClient.h"
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
        // The workspace's other answers: an approval, the board report, the timer and its
        // entries, and the replies to an upload and a forwarded message.
        if (const auto approval = VantleApproval::fromJson(*object, QStringLiteral("a-1"))) {
            check(approval->id == QStringLiteral("a-1"));
            check(approval->action == object->value(QStringLiteral("action")).toString());
            check(!approval->details || !approval->details->trimmed().isEmpty());
            check(approval->detailText().size() <= approval->rationale.size() + 2 + 601);
        }
        if (const auto report = DornReport::fromResponse(*object)) {
            check(!report->generatedAt || report->generatedAt->isValid());
        }
        const TimerState timer = TimerState::fromJson(*object);
        check(!timer.active || !timer.active->label().isEmpty());
        if (const auto entry = TimeEntry::fromJson(*object)) {
            check(entry->id == object->value(QStringLiteral("id")).toString());
            check(!entry->startedAt || entry->startedAt->isValid());
        }
        if (const auto document = VantleClient::documentFrom(*object, QStringLiteral("/tmp/Plan.pdf"))) {
            check(document->id == object->value(QStringLiteral("id")).toString());
            check(!document->link || document->link->isValid());
        }
        const ForwardedEmail email = VantleClient::emailFrom(*object, QStringLiteral("/tmp/Offer.eml"));
        check(email.attachments.size() <= object->value(QStringLiteral("attachments")).toArray().size());
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
