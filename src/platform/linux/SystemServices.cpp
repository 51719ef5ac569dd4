#include "platform/Services.h"
#include "platform/linux/SystemSecretStore.h"
#include "platform/linux/XdgDesktop.h"

#include "app/AppIdentity.h"

namespace platform {

Services systemServices() {
    Services s;
    s.desktop = std::make_shared<XdgDesktop>();
    s.secretStore =
        std::make_shared<SystemSecretStore>(QLatin1String(AppIdentity::name), AppIdentity::supportURL());
    return s;
}

} // namespace platform
