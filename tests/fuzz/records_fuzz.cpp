#include "base/Json.h"
#include "character/CharacterDefinition.h"
#include "workspace/ChatChoice.h"
#include "workspace/VantleNotification.h"

#include <QJsonDocument>

#include <cstddef>
#include <cstdint>

// Whatever a server or a package file holds, the readers give a record or none, never a crash.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (const auto object = base::json::parseObject(text)) {
        if (const auto n = VantleNotification::fromJson(*object)) {
            if (n->id.isNull()) {
                return 1;
            }
        }
        for (const auto& choice : ChatChoice::list(object->value(QStringLiteral("options")))) {
            if (choice.label.isEmpty() || (choice.ref && choice.ref->isEmpty())) {
                __builtin_trap();
            }
        }
    }
    if (const auto d = CharacterDefinition::decode(text)) {
        if (d->id.isNull()) {
            return 1;
        }
    }
    return 0;
}
