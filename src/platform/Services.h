#pragma once

#include "platform/ActiveWindow.h"
#include "platform/Autostart.h"
#include "platform/Desktop.h"
#include "platform/DragBoard.h"
#include "platform/HotKeyGrabber.h"
#include "platform/IdleTime.h"
#include "platform/Pointer.h"
#include "platform/SecretStore.h"
#include "platform/SessionEvents.h"
#include "platform/Speech.h"
#include "platform/WindowTraits.h"

#include <memory>

namespace platform {

// The operating-system services the program uses, chosen in one place: the system's own in
// the program, fakes in tests. A service that this system cannot offer is null, and the
// feature that needs it stays off.
struct Services {
    std::shared_ptr<Pointer> pointer;
    std::shared_ptr<DragBoard> dragBoard;
    std::shared_ptr<SecretStore> secretStore;
    std::shared_ptr<HotKeyGrabber> hotKeys;
    std::shared_ptr<IdleTime> idleTime;
    std::shared_ptr<ActiveWindow> activeWindow;
    std::shared_ptr<SessionEvents> sessionEvents;
    std::shared_ptr<Desktop> desktop;
    std::shared_ptr<Autostart> autostart;
    std::shared_ptr<WindowTraits> windowTraits;
    std::shared_ptr<Speech> speech;
};

Services& services();
void install(Services replacement);

// The services of this desktop.
Services systemServices();

} // namespace platform
