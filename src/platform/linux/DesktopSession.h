#pragma once

#include <QString>

namespace platform {

// The kind of desktop session the program runs in, as the session's environment tells it. It
// decides where the window in front, idle time and shortcuts come from.
struct DesktopSession {
    enum class Kind {
        x11,
        gnome,        // GNOME Shell on Wayland
        kde,          // KDE Plasma (KWin) on Wayland
        otherWayland, // wlroots compositors (sway, Hyprland, river, labwc…) and the rest
    };
    Kind kind = Kind::x11;

    bool isWayland() const { return kind != Kind::x11; }

    static DesktopSession fromEnvironment();
    // sessionType: XDG_SESSION_TYPE; waylandDisplay: WAYLAND_DISPLAY; currentDesktop:
    // XDG_CURRENT_DESKTOP, a colon-separated list such as "ubuntu:GNOME".
    static DesktopSession from(const QString& sessionType, const QString& waylandDisplay,
                               const QString& currentDesktop);
};

} // namespace platform
