#include "platform/linux/SystemSpeech.h"

#include <QTextToSpeech>

namespace platform {

SystemSpeech::SystemSpeech() = default;

SystemSpeech::~SystemSpeech() = default;

void SystemSpeech::stop() {
    if (engine) {
        engine->stop(QTextToSpeech::BoundaryHint::Immediate);
    }
}

void SystemSpeech::say(const QString& text) {
    if (!engine) {
        engine = std::make_unique<QTextToSpeech>();
    }
    engine->say(text);
}

} // namespace platform
