#pragma once

namespace platform {

// How long the user has not touched keyboard or pointer.
class IdleTime {
public:
    virtual ~IdleTime() = default;
    // Seconds since the last input; 0 when the system cannot tell.
    virtual double secondsSinceLastInput() = 0;
    // The display's own screen saver has blanked the screens.
    virtual bool isScreenSaverOn() = 0;
};

} // namespace platform
