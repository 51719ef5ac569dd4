#include "capture/Capture.h"

#include <cstddef>
#include <cstdint>

// Copied cells of any shape: a table becomes lines of CSV, one per row, each ended by a line
// feed, with at least one comma in the whole.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (const auto table = Capture::csv(text)) {
        if (!table->endsWith(QLatin1Char('\n')) || !table->contains(QLatin1Char(',')) ||
            !text.contains(QLatin1Char('\t'))) {
            __builtin_trap();
        }
    }
    return 0;
}
