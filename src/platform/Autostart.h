#pragma once

namespace platform {

// Starting the program when the user logs in.
class Autostart {
public:
    virtual ~Autostart() = default;
    virtual bool isEnabled() = 0;
    virtual bool setEnabled(bool enabled) = 0;
};

} // namespace platform
