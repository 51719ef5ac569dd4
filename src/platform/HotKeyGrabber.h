#pragma once

#include <QString>

#include <functional>

namespace platform {

// System-wide key combinations of Control, Alt and one key.
class HotKeyGrabber {
public:
    // Where the held combinations are heard, which is also the means that holds them.
    enum class Reach {
        everyWindow,
        x11Windows,     // only while an X window has the keyboard (X grabs on a Wayland desktop)
        shellExtension, // through the program's GNOME Shell extension, while it is on
        portal,         // the desktop's global shortcuts portal, which may let the user change keys
        kdeService,     // KDE's global shortcut service, where the system settings list them
        ended,          // the desktop ended the program's shortcuts; none works until a new start
        none,           // nothing on this desktop lets the program hold them
    };

    virtual ~HotKeyGrabber() = default;
    // Registers Control+Alt+key (key is an X keysym) under a description the desktop may show
    // the user, and calls fn on the main loop whenever it is pressed. Returns an id, or 0 when
    // the combination could not be had (another program holds it).
    virtual int grab(unsigned keysym, const QString& description, std::function<void()> fn) = 0;
    virtual void release(int id) = 0;
    // Whether a held combination works now; on some desktops that depends on more than the
    // program (an extension turned on), so menus ask each time they show it.
    virtual bool works(int) { return true; }
    virtual Reach reach() { return Reach::everyWindow; }
    // The keys as the desktop words them, where the user may have changed them; empty when they
    // are Control+Alt and the key asked for.
    virtual QString keys(int) { return {}; }

    // Called on the main loop when reach() has changed after the start (a portal that binds
    // nothing and passes the keys on, a session the desktop ends), so an open window can say so.
    std::function<void()> onReachChanged;

protected:
    void reachChanged() {
        if (onReachChanged) {
            onReachChanged();
        }
    }
};

} // namespace platform
