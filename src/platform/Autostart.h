#pragma once

#include <QString>

#include <optional>

namespace platform {

// Starting the program when the user logs in.
class Autostart {
public:
    virtual ~Autostart() = default;
    virtual bool isEnabled() = 0;
    // None when it worked; otherwise why not, in words for the user.
    virtual std::optional<QString> setEnabled(bool enabled) = 0;
};

} // namespace platform
