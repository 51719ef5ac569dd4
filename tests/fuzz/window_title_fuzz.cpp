#include "platform/linux/CompoundText.h"

#include <cstddef>
#include <cstdint>

// A window title in compound text, whatever its bytes: the escapes are gone, and no more
// characters come out than bytes went in.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QString title = platform::x11::compoundText(bytes);
    if (title.contains(QChar(0x1b)) || title.size() > bytes.size()) {
        __builtin_trap();
    }
    return 0;
}
