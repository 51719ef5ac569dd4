#include "platform/Services.h"

namespace platform {

Services& services() {
    static auto* installed = new Services; // lives as long as the process
    return *installed;
}

void install(Services replacement) {
    services() = std::move(replacement);
}

} // namespace platform
