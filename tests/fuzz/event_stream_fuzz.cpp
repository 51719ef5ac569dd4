#include "workspace/EventStreamParser.h"

#include <cstddef>
#include <cstdint>

// The stream, fed in pieces whose sizes the input's first byte chooses. Every event handed out
// must be complete text; nothing may crash or grow without bound.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::size_t piece = 1 + data[0] % 64;
    EventStreamParser parser;
    qsizetype total = 0;
    parser.onEvent = [&](const QString& event, const QString& payload) {
        total += event.size() + payload.size();
    };
    const char* bytes = reinterpret_cast<const char*>(data + 1);
    std::size_t left = size - 1;
    while (left > 0) {
        const std::size_t n = left < piece ? left : piece;
        parser.feed(QByteArrayView(bytes, static_cast<qsizetype>(n)));
        bytes += n;
        left -= n;
    }
    return total < 0 ? 1 : 0;
}
