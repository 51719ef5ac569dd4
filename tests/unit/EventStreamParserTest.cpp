#include "workspace/EventStreamParser.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using Events = std::vector<std::pair<QString, QString>>;

// Feeds the stream whole, and then split at every byte offset into two pieces; every way must
// give the same events.
Events parseEveryWay(const QByteArray& stream) {
    Events whole;
    {
        EventStreamParser parser;
        parser.onEvent = [&](const QString& e, const QString& d) { whole.emplace_back(e, d); };
        parser.feed(stream);
    }
    for (qsizetype cut = 0; cut <= stream.size(); ++cut) {
        Events split;
        EventStreamParser parser;
        parser.onEvent = [&](const QString& e, const QString& d) { split.emplace_back(e, d); };
        parser.feed(QByteArrayView(stream).first(cut));
        parser.feed(QByteArrayView(stream).sliced(cut));
        EXPECT_EQ(split, whole) << "split at " << cut;
    }
    // And one byte at a time.
    Events bytewise;
    EventStreamParser parser;
    parser.onEvent = [&](const QString& e, const QString& d) { bytewise.emplace_back(e, d); };
    for (const char c : stream) {
        parser.feed(QByteArrayView(&c, 1));
    }
    EXPECT_EQ(bytewise, whole);
    return whole;
}

} // namespace

TEST(EventStreamParser, LinesFieldsAndEventsFollowTheWireRules) {
    EXPECT_EQ(parseEveryWay("event: agent.progress\ndata: {\"a\":1}\n\n"),
              (Events{{"agent.progress", "{\"a\":1}"}}));
    EXPECT_EQ(parseEveryWay("event: agent.progress\r\ndata: {\"a\":1}\r\n\r\n"),
              (Events{{"agent.progress", "{\"a\":1}"}}))
        << "CR LF ends as LF does";
    EXPECT_EQ(parseEveryWay("data: {\"a\":\ndata: 1}\n\n"), (Events{{"message", "{\"a\":\n1}"}}))
        << "two data lines are joined by one line feed";
    EXPECT_EQ(parseEveryWay("event: x\ndata:\n\ndata: y\n\n"), (Events{{"message", "y"}}))
        << "an event without data is dropped, and the name does not carry over";
    EXPECT_EQ(parseEveryWay("data: lost at the end"), Events{}) << "no closing blank line";
    EXPECT_EQ(parseEveryWay("Event: x\nDATA: no\ndata:\t padded \t \n\n"), (Events{{"message", "padded"}}))
        << "prefixes are exact and both ends are trimmed of spaces and tabs";
    EXPECT_EQ(parseEveryWay(": comment\nid: 4\nretry: 10\ndata\ndata: a\r\r\n\n"),
              (Events{{"message", "a"}}));
    EXPECT_EQ(parseEveryWay("da\rta: b\r\n\r\n"), (Events{{"message", "b"}})) << "CR is skipped anywhere";
    EXPECT_EQ(parseEveryWay("data: h\xc3\xa4l\xff\n\n"),
              (Events{{"message", QString::fromUtf8("häl\xef\xbf\xbd")}}))
        << "broken UTF-8 is repaired, not fatal";
    EXPECT_EQ(parseEveryWay("event:a\ndata:1\n\nevent:b\ndata:2\n\n"), (Events{{"a", "1"}, {"b", "2"}}));
}

TEST(EventStreamParser, OversizedLinesAndEventsAreDroppedAndTheStreamGoesOn) {
    EventStreamParser parser;
    Events events;
    parser.onEvent = [&](const QString& e, const QString& d) { events.emplace_back(e, d); };
    const QByteArray chunk(1024 * 1024, 'x');
    parser.feed("data: ");
    for (int i = 0; i < 15; ++i) {
        parser.feed(chunk);
    }
    EXPECT_FALSE(parser.overflowed());
    parser.feed(chunk);
    EXPECT_TRUE(parser.overflowed()) << "the field name and 16 MiB pass the bound";
    parser.feed(chunk);
    parser.feed("\n\ndata: after\n\n");
    EXPECT_EQ(events, (Events{{"message", "after"}}));

    // Many data lines that add up past the limit drop their event only.
    parser.reset();
    EXPECT_FALSE(parser.overflowed());
    events.clear();
    const QByteArray line = "data: " + QByteArray(1024 * 1024, 'y') + "\n";
    for (int i = 0; i < 17; ++i) {
        parser.feed(line);
    }
    parser.feed("\nevent: e\ndata: fine\n\n");
    EXPECT_EQ(events, (Events{{"e", "fine"}}));
    EXPECT_TRUE(parser.overflowed());

    // A new connection starts clean.
    parser.feed("data: half");
    parser.reset();
    parser.feed("\ndata: z\n\n");
    EXPECT_EQ(events.back(), (std::pair<QString, QString>{"message", "z"}));

    // Under a limit of its own, carriage returns take no room, however the line arrives.
    for (const qsizetype piece : {1, 3, 100}) {
        EventStreamParser small(10);
        Events got;
        small.onEvent = [&](const QString& e, const QString& d) { got.emplace_back(e, d); };
        const QByteArray bytes = "data:\r\r\r\rabcde\n\n";
        for (qsizetype at = 0; at < bytes.size(); at += piece) {
            small.feed(bytes.mid(at, piece));
        }
        EXPECT_EQ(got, (Events{{"message", "abcde"}})) << piece;
        EXPECT_FALSE(small.overflowed()) << piece;
    }
}
