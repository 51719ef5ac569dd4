#pragma once

#include <functional>

namespace platform {

// The session's own events: the machine going to sleep and waking, and the session being
// locked or its screen saver running.
class SessionEvents {
public:
    virtual ~SessionEvents() = default;
    virtual bool isSessionActive() = 0;
    std::function<void()> onSleep;
    std::function<void()> onWake;
    std::function<void(bool active)> onActiveChanged;
};

} // namespace platform
