#pragma once

#include "platform/ActiveWindow.h"
#include "platform/linux/DesktopEntries.h"

#include <optional>

namespace platform {

// The window in front as a Wayland desktop reports it: the compositor, a KWin script or a GNOME
// Shell extension tells each change, and what was told last is the answer. Both the desktop's
// own windows and those of its X server are reported, so nothing else is asked.
class ReportedActiveWindow : public ActiveWindow {
public:
    std::optional<FrontApplication> frontmost() override;
    std::optional<QString> focusedWindowTitle() override;
    bool canSeeFront() override;
    Sight sight() override { return seen; }

protected:
    struct Window {
        QString appID;       // a Wayland app id, or for an X window its class
        QString windowClass; // the X class or KWin's resource class, where it differs
        QString desktopFile; // the desktop entry's id, where the desktop names it
        QString title;
        qint64 pid = 0;
    };

    // Another window came to the front; none when nothing has the focus.
    void activated(std::optional<Window> window);
    // The window in front has a new title. Titles are read at the next sample, as on X11, so a
    // title that changes every second costs nothing.
    void retitled(const QString& title);
    void setSight(Sight sight);

private:
    std::optional<Window> front;
    Sight seen{Sight::Reach::nothing, Sight::Cause::none};
    DesktopEntries entries;
};

} // namespace platform
