#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

namespace OllamaClient::wire {

// The local model's streamed chat answer, one JSON object a line, read as its bytes arrive and
// split anywhere. Each line's piece of text is added to the whole, which onText hears; a line
// that isn't a JSON object says nothing.
struct OllamaLineReader {
    using Listener = std::function<void(const QString&)>;

    // Bounds on what a streamed answer may hold in memory: one line not yet ended, and the text
    // put together from the lines (in UTF-16 units, 8 MiB).
    static constexpr qsizetype lineLimit = 1024 * 1024;
    static constexpr qsizetype textLimit = 4 * 1024 * 1024;

    QByteArray pending;   // the line being received
    QByteArray errorBody; // the body of a refusal, read to its end
    QString text;
    std::optional<QString> failure; // the server's `error` line
    bool done = false;
    bool overflowed = false;
    bool stopped() const { return done || failure || overflowed; }

    // Takes the lines that the bytes complete; the rest waits for its line end. Stops at the
    // answer's end, an error, too much text, or when `cancelled` says so.
    void feed(const QByteArray& bytes, const Listener& onText, const std::function<bool()>& cancelled = {});
    // One whole line.
    void takeLine(const QByteArray& line, const Listener& onText);
};

} // namespace OllamaClient::wire
