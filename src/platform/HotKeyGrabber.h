#pragma once

#include <functional>

namespace platform {

// System-wide key combinations of Control, Alt and one key.
class HotKeyGrabber {
public:
    // Where the held combinations are heard.
    enum class Reach {
        everyWindow,
        x11Windows,     // only while an X window has the keyboard (X grabs on a Wayland desktop)
        shellExtension, // through the program's GNOME Shell extension, while it is on
    };

    virtual ~HotKeyGrabber() = default;
    // Registers Control+Alt+key (key is an X keysym) and calls fn on the main loop whenever it
    // is pressed. Returns an id, or 0 when the combination could not be had (another program
    // holds it).
    virtual int grab(unsigned keysym, std::function<void()> fn) = 0;
    virtual void release(int id) = 0;
    // Whether a held combination works now; on some desktops that depends on more than the
    // program (an extension turned on), so menus ask each time they show it.
    virtual bool works(int) { return true; }
    virtual Reach reach() { return Reach::everyWindow; }
};

} // namespace platform
