#include "workspace/EventStreamParser.h"

#include <algorithm>
#include <cstring>

namespace {

QByteArrayView trimmed(QByteArrayView v) {
    auto blank = [](char c) { return c == ' ' || c == '\t'; };
    while (!v.isEmpty() && blank(v.front())) {
        v = v.sliced(1);
    }
    while (!v.isEmpty() && blank(v.back())) {
        v.chop(1);
    }
    return v;
}

} // namespace

void EventStreamParser::feed(QByteArrayView bytes) {
    while (!bytes.isEmpty()) {
        const auto* start = bytes.data();
        const auto* lf =
            static_cast<const char*>(std::memchr(start, '\n', static_cast<std::size_t>(bytes.size())));
        if (!lf) {
            append(bytes);
            return;
        }
        const auto length = static_cast<qsizetype>(lf - start);
        append(bytes.first(length));
        endLine();
        bytes = bytes.sliced(length + 1);
    }
}

void EventStreamParser::append(QByteArrayView segment) {
    if (lineTooLong || segment.isEmpty()) {
        return;
    }
    // Carriage returns are dropped, so they take no room: the limit falls alike wherever the
    // bytes were split.
    const bool returns = std::memchr(segment.data(), '\r', static_cast<std::size_t>(segment.size()));
    const qsizetype kept =
        returns ? segment.size() - std::count(segment.begin(), segment.end(), '\r') : segment.size();
    if (line.size() + kept > limit) {
        lineTooLong = true;
        overflow = true;
        line.clear();
        line.squeeze();
        return;
    }
    if (!returns) {
        line.append(segment);
        return;
    }
    for (const char c : segment) {
        if (c != '\r') {
            line.append(c);
        }
    }
}

void EventStreamParser::endLine() {
    if (lineTooLong) {
        // The rest of an oversized line is gone, and with it the event it belonged to.
        lineTooLong = false;
        eventTooLarge = true;
        return;
    }
    const QByteArrayView view(line);
    if (view.isEmpty()) {
        if (!data.isEmpty() && !eventTooLarge && onEvent) {
            const QString name = std::exchange(event, QStringLiteral("message"));
            const QString payload = std::exchange(data, QString());
            onEvent(name, payload);
        }
        event = QStringLiteral("message");
        data.clear();
        eventTooLarge = false;
    } else if (view.startsWith("event:")) {
        event = QString::fromUtf8(trimmed(view.sliced(6)));
    } else if (view.startsWith("data:") && !eventTooLarge) {
        const QString piece = QString::fromUtf8(trimmed(view.sliced(5)));
        if (data.size() + piece.size() + 1 > limit) {
            eventTooLarge = true;
            overflow = true;
            data.clear();
        } else {
            if (!data.isEmpty()) {
                data += QLatin1Char('\n');
            }
            data += piece;
        }
    }
    line.clear();
    // A long line needs no large buffer afterwards.
    if (line.capacity() > 64 * 1024) {
        line.squeeze();
    }
}

void EventStreamParser::reset() {
    line.clear();
    lineTooLong = false;
    event = QStringLiteral("message");
    data.clear();
    eventTooLarge = false;
    overflow = false;
}
