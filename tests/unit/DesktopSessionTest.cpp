#include "platform/linux/DesktopSession.h"

#include <gtest/gtest.h>

using platform::DesktopSession;
using Kind = DesktopSession::Kind;

TEST(DesktopSessionTest, TheSessionTypeAndDesktopChooseTheSources) {
    EXPECT_EQ(DesktopSession::from("x11", "", "GNOME").kind, Kind::x11);
    EXPECT_EQ(DesktopSession::from("x11", "wayland-0", "KDE").kind, Kind::x11)
        << "an X session with a compositor left running beside it";
    EXPECT_EQ(DesktopSession::from("", "", "").kind, Kind::x11);
    EXPECT_EQ(DesktopSession::from("", "wayland-1", "sway").kind, Kind::otherWayland)
        << "a session manager that sets no type";
    EXPECT_EQ(DesktopSession::from("wayland", "wayland-0", "ubuntu:GNOME").kind, Kind::gnome);
    EXPECT_EQ(DesktopSession::from("Wayland", "", "KDE").kind, Kind::kde);
    EXPECT_EQ(DesktopSession::from("wayland", "wayland-1", "Hyprland").kind, Kind::otherWayland);
    EXPECT_EQ(DesktopSession::from("wayland", "wayland-1", "GNOME-Flashback:GNOMEX").kind, Kind::otherWayland)
        << "names are whole entries of the list";
}
