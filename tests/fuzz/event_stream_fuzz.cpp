#include "workspace/EventStreamParser.h"

#include <QList>
#include <QPair>

#include <cstddef>
#include <cstdint>

namespace {

using Events = QList<QPair<QString, QString>>;

// The events of the bytes fed in pieces of `piece` bytes (0: all at once).
Events parse(QByteArrayView bytes, std::size_t piece, qsizetype limit) {
    Events events;
    EventStreamParser parser(limit);
    parser.onEvent = [&](const QString& event, const QString& data) { events.append({event, data}); };
    if (piece == 0) {
        parser.feed(bytes);
        return events;
    }
    while (!bytes.isEmpty()) {
        const auto n = std::min(bytes.size(), static_cast<qsizetype>(piece));
        parser.feed(bytes.first(n));
        bytes = bytes.sliced(n);
    }
    return events;
}

bool blankAtEnds(const QString& text) {
    auto blank = [](QChar c) { return c == QLatin1Char(' ') || c == QLatin1Char('\t'); };
    return !text.isEmpty() && (blank(text.front()) || blank(text.back()));
}

} // namespace

// The stream, fed whole and in pieces whose sizes the input's first byte chooses, under a limit
// that its second byte chooses, small enough to be reached. Where the bytes are split never
// changes the events, and every event is whole and within the limit: a name of one trimmed
// line, data that isn't empty and holds no carriage return.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const qsizetype limit = 1 + data[1] * 16;
    const QByteArrayView bytes(reinterpret_cast<const char*>(data + 2), static_cast<qsizetype>(size - 2));
    const Events whole = parse(bytes, 0, limit);
    if (parse(bytes, 1 + data[0] % 64, limit) != whole) {
        __builtin_trap();
    }
    for (const auto& [event, payload] : whole) {
        if (event.contains(QLatin1Char('\n')) || event.contains(QLatin1Char('\r')) || blankAtEnds(event) ||
            payload.isEmpty() || payload.contains(QLatin1Char('\r')) || payload.size() > limit) {
            __builtin_trap();
        }
    }
    return 0;
}
