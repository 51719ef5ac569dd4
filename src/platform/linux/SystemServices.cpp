#include "platform/Services.h"
#include "platform/linux/DBusSessionEvents.h"
#include "platform/linux/SystemSecretStore.h"
#include "platform/linux/SystemSpeech.h"
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

namespace platform {

Services systemServices() {
    Services s;
    s.desktop = std::make_shared<XdgDesktop>();
    s.autostart = std::make_shared<XdgAutostart>(QCoreApplication::applicationFilePath());
    s.speech = std::make_shared<SystemSpeech>();
    s.secretStore =
        std::make_shared<SystemSecretStore>(QLatin1String(AppIdentity::name), AppIdentity::supportURL());
    s.sessionEvents = std::make_shared<DBusSessionEvents>(DBusSessionEvents::systemBusAddress(),
                                                          DBusSessionEvents::sessionBusAddress());
    // Pointer, drags, shortcuts, click-through and the activity record need X; elsewhere those
    // features stay off.
    if (auto* x = x11::connection()) {
        s.pointer = std::make_shared<X11Pointer>(x);
        s.dragBoard = X11DragBoard::create(x);
        s.hotKeys = std::make_shared<X11HotKeys>(x);
        s.windowTraits = std::make_shared<X11WindowTraits>(x);
        s.idleTime = std::make_shared<X11IdleTime>(x);
        s.activeWindow = std::make_shared<X11ActiveWindow>(x);
    }
    return s;
}

} // namespace platform
