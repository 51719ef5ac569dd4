#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace platform {

// The application the user works in.
struct FrontApplication {
    QString identifier; // the window's class, stable across runs
    QString name;       // shown to the user: the desktop entry's name, else the class
    qint64 pid = 0;     // 0 when the window does not say
    bool operator==(const FrontApplication&) const = default;
};

// The window in front and the application it belongs to. Read on the main thread only.
class ActiveWindow {
public:
    virtual ~ActiveWindow() = default;
    // None when no window has the focus (the bare desktop) or nothing can be seen.
    virtual std::optional<FrontApplication> frontmost() = 0;
    // The focused window's title, trimmed and at most 200 characters; none when it has none.
    // Asked only while window titles are recorded.
    virtual std::optional<QString> focusedWindowTitle() = 0;
    // False while the window in front is one this program cannot look into, as a native
    // window of a Wayland session: then nothing is known of what the user works in.
    virtual bool canSeeFront() = 0;
    // Called on the main loop when another window comes to the front.
    std::function<void()> onActivate;
};

} // namespace platform
