#include "app/AppEvents.h"

AppEvents& AppEvents::shared() {
    static auto* instance = new AppEvents; // lives as long as the process
    return *instance;
}
