#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace platform {

// The application the user works in.
struct FrontApplication {
    QString identifier; // stable: the desktop entry's id, else the window class
    QString name;       // shown to the user
    qint64 pid = 0;
    QString windowTitle;
    bool operator==(const FrontApplication&) const = default;
};

class ActiveWindow {
public:
    virtual ~ActiveWindow() = default;
    virtual std::optional<FrontApplication> current() = 0;
    // Called on the main loop when another application comes to the front.
    std::function<void(const std::optional<FrontApplication>&)> onChange;
};

} // namespace platform
