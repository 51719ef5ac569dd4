#pragma once

#include "platform/Speech.h"

#include <memory>

class QTextToSpeech;

namespace platform {

// Speaks through the desktop's speech service.
class SystemSpeech final : public Speech {
public:
    SystemSpeech();
    ~SystemSpeech() override;
    void stop() override;
    void say(const QString& text) override;

private:
    // Made at the first text: the speech service may be slow to answer, and most users never
    // have answers spoken.
    std::unique_ptr<QTextToSpeech> engine;
};

} // namespace platform
