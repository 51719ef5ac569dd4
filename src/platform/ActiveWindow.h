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

// What a source of the window in front can see of the desktop's windows, and why not more.
struct Sight {
    enum class Reach {
        allWindows, // native and X11 windows alike
        x11Windows, // only those of the X server, on a Wayland desktop that tells nothing more
        nothing,
    };
    enum class Cause {
        none,
        compositorSilent, // the compositor offers no way to learn the window in front
        extensionOff,     // the program's GNOME Shell extension is installed but turned off
        extensionMissing, // the extension is not installed for this GNOME Shell
        kwinRefused,      // KWin did not take or run the program's window script
        compositorGone,   // the connection to the compositor was lost
    };
    Reach reach = Reach::allWindows;
    Cause cause = Cause::none;
    bool operator==(const Sight&) const = default;
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
    // What this source sees on this desktop, for the settings window.
    virtual Sight sight() { return {}; }
    // The one step the user can take from the program to let the source see (turning the
    // GNOME Shell extension on); does nothing where there is none.
    virtual void turnOn() {}
    // Called on the main loop when another window comes to the front.
    std::function<void()> onActivate;
    // Called on the main loop when what the source can see changes.
    std::function<void()> onSightChange;
};

} // namespace platform
