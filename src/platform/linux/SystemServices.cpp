#include "platform/Services.h"
#include "platform/linux/XdgDesktop.h"

namespace platform {

Services systemServices() {
    Services s;
    s.desktop = std::make_shared<XdgDesktop>();
    return s;
}

} // namespace platform
