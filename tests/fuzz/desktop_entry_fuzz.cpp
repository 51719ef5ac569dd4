#include "platform/linux/DesktopEntries.h"

#include <cstddef>
#include <cstdint>

// Any file in an applications folder: only the wanted keys of the main group are read, and a
// value is never longer than its line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto keys = platform::DesktopEntries::mainGroup(text);
    for (auto it = keys.cbegin(); it != keys.cend(); ++it) {
        if (it.key() != "Type" && it.key() != "Name" && it.key() != "Name[et]" &&
            it.key() != "StartupWMClass" && it.key() != "Hidden") {
            __builtin_trap();
        }
        if (it.value().size() > text.size()) {
            __builtin_trap();
        }
    }
    if (!text.contains("[Desktop Entry]") && !keys.isEmpty()) {
        __builtin_trap();
    }
    return 0;
}
