#pragma once

#include <QString>

namespace platform {

// The system's voice, with its default voice and rate.
class Speech {
public:
    virtual ~Speech() = default;
    // Falls silent at once.
    virtual void stop() = 0;
    virtual void say(const QString& text) = 0;
};

} // namespace platform
