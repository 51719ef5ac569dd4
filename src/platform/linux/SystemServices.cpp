#include "platform/Services.h"
#include "platform/linux/DBusSessionEvents.h"
#include "platform/linux/DesktopSession.h"
#include "platform/linux/GnomeShellActiveWindow.h"
#include "platform/linux/KGlobalAccelHotKeys.h"
#include "platform/linux/KWinActiveWindow.h"
#include "platform/linux/MutterIdleTime.h"
#include "platform/linux/PortalHotKeys.h"
#include "platform/linux/ShellHotKeys.h"
#include "platform/linux/SystemSecretStore.h"
#include "platform/linux/SystemSpeech.h"
#include "platform/linux/WaylandConnection.h"
#include "platform/linux/WaylandIdleTime.h"
#include "platform/linux/WlrActiveWindow.h"
#include "platform/linux/X11.h"
#include "platform/linux/X11ActiveWindow.h"
#include "platform/linux/X11DragBoard.h"
#include "platform/linux/X11HotKeys.h"
#include "platform/linux/X11IdleTime.h"
#include "platform/linux/X11Pointer.h"
#include "platform/linux/X11WindowTraits.h"
#include "platform/linux/XdgAutostart.h"
#include "platform/linux/XdgDesktop.h"

#include "app/AppIdentity.h"

#include <QCoreApplication>
#include <QDBusConnection>

namespace platform {
namespace {

// How long the start may wait for the portal to say whether it offers global shortcuts; it
// answers at once where it runs, and D-Bus starts it quickly where it does not yet.
constexpr int portalQuestionMs = 1500;

// The shortcuts on a Wayland session, where no program may grab keys: the desktop's portal where
// it offers global shortcuts, otherwise (and where the portal binds nothing) the desktop's own
// means, and X grabs, which hear keys only while an X window has the keyboard, as the last.
std::shared_ptr<HotKeyGrabber> waylandHotKeys(DesktopSession session) {
    const auto own = [session]() -> std::shared_ptr<HotKeyGrabber> {
        if (session.kind == DesktopSession::Kind::gnome) {
            return std::make_shared<ShellHotKeys>();
        }
        if (session.kind == DesktopSession::Kind::kde &&
            KGlobalAccelHotKeys::available(QDBusConnection::sessionBus())) {
            return std::make_shared<KGlobalAccelHotKeys>();
        }
        if (auto* x = x11::connection()) {
            return std::make_shared<X11HotKeys>(x, true);
        }
        return nullptr;
    };
    if (PortalHotKeys::offered(QDBusConnection::sessionBus(), portalQuestionMs)) {
        return std::make_shared<PortalHotKeys>(QDBusConnection::sessionBus(), own);
    }
    return own();
}

// On a Wayland session the window in front and idle time come from the desktop itself, which
// sees its own windows and those of its X server alike. What it cannot tell is left to the X
// server, which sees only its own windows.
void chooseWaylandSources(Services& s, DesktopSession session) {
    s.hotKeys = waylandHotKeys(session);
    switch (session.kind) {
    case DesktopSession::Kind::gnome:
        s.activeWindow = std::make_shared<GnomeShellActiveWindow>();
        s.idleTime = std::make_shared<MutterIdleTime>();
        return;
    case DesktopSession::Kind::kde:
        s.activeWindow = std::make_shared<KWinActiveWindow>();
        break;
    case DesktopSession::Kind::otherWayland:
    case DesktopSession::Kind::x11:
        break;
    }
    std::shared_ptr<WaylandConnection> wayland = WaylandConnection::open();
    if (!wayland) {
        return;
    }
    if (!s.activeWindow) {
        s.activeWindow = WlrActiveWindow::create(wayland);
    }
    s.idleTime = WaylandIdleTime::create(wayland);
}

} // namespace

Services systemServices() {
    Services s;
    s.desktop = std::make_shared<XdgDesktop>();
    s.autostart = std::make_shared<XdgAutostart>(QCoreApplication::applicationFilePath());
    s.speech = std::make_shared<SystemSpeech>();
    s.secretStore =
        std::make_shared<SystemSecretStore>(QLatin1String(AppIdentity::name), AppIdentity::supportURL());
    s.sessionEvents = std::make_shared<DBusSessionEvents>(DBusSessionEvents::systemBusAddress(),
                                                          DBusSessionEvents::sessionBusAddress());
    const DesktopSession session = DesktopSession::fromEnvironment();
    if (session.isWayland()) {
        chooseWaylandSources(s, session);
    }
    // Pointer, drags, shortcuts and click-through need X, which the program's windows use on a
    // Wayland session too; without it those features stay off.
    if (auto* x = x11::connection()) {
        s.pointer = std::make_shared<X11Pointer>(x);
        s.dragBoard = X11DragBoard::create(x);
        if (!session.isWayland()) {
            s.hotKeys = std::make_shared<X11HotKeys>(x);
        }
        s.windowTraits = std::make_shared<X11WindowTraits>(x);
        if (!s.idleTime) {
            s.idleTime = std::make_shared<X11IdleTime>(x);
        }
        if (!s.activeWindow) {
            s.activeWindow = std::make_shared<X11ActiveWindow>(x, session.isWayland());
        }
    }
    return s;
}

} // namespace platform
