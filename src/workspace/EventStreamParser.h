#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <functional>

// Reads server-sent events from bytes as they arrive, split anywhere. Lines end at a line feed;
// carriage returns are skipped wherever they stand. "event:" names the event, "data:" lines
// are joined with line feeds, an empty line ends the event; anything else is ignored.
class EventStreamParser {
public:
    // A line or an event larger than the limit is dropped whole, so a broken server cannot fill
    // memory. The stream's is this; a smaller one lets a test or a fuzzer reach it.
    static constexpr qsizetype streamLimit = 16 * 1024 * 1024;

    explicit EventStreamParser(qsizetype limit = streamLimit) : limit(limit) {}

    std::function<void(const QString& event, const QString& data)> onEvent;

    void feed(QByteArrayView bytes);
    // Whether a line or an event has passed the limit since the start or the last reset: a
    // server that sends one is not worth reading further.
    bool overflowed() const { return overflow; }
    // Forgets a half-read line and event, for a new connection.
    void reset();

private:
    void append(QByteArrayView segment);
    void endLine();

    qsizetype limit;

    QByteArray line;
    bool lineTooLong = false;
    QString event = QStringLiteral("message");
    QString data;
    bool eventTooLarge = false;
    bool overflow = false;
};
