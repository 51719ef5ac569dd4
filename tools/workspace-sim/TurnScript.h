#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <optional>
#include <string>
#include <vector>

// What one turn does: progress events on the stream, spaced in time, and then the reply to the
// POST. Tests queue scripts through the control API; without one the demo company or a plain echo
// makes the script.
struct TurnScript {
    struct Step {
        enum class Type { Progress, Event, Raw, Reply };
        Type type = Type::Progress;
        int afterMs = 0;       // wait before this step, counted from the step before
        QJsonObject progress;  // Progress: the data of an "agent.progress" event
        std::string eventName; // Event: any event name
        std::string eventData; // Event: its data line, already written
        std::string raw;       // Raw: bytes as they stand
    };

    std::optional<std::string> threadId; // only a turn on this thread takes the script
    std::vector<Step> steps;
    int status = 200;
    std::optional<QJsonValue> reply;     // the POST's JSON body instead of the default
    std::optional<std::string> replyRaw; // or its body as raw text
    int replyAfterMs = 0;                // wait after the last step before the reply

    static std::optional<TurnScript> fromJson(const QJsonObject& json, std::string* error);

    // Deltas made of `text`, in pieces of a few characters spaced by `pieceMs`, with their UTF-16
    // offsets, and a "done" with the whole text.
    void addStreamedText(const QString& text, int firstAfterMs, int pieceMs, int minPiece = 3,
                         int maxPiece = 9);
    void addTool(const QString& tool, int afterMs, int runMs);
    void addOptions(const QJsonValue& options, int afterMs);
    void addReplyMarker(int afterMs);

    // The answer that the stream's deltas and "done" build, by the client's rules; the default
    // reply's text.
    QString finalText() const;
    // Steps up to the reply marker, or all of them when there is none.
    std::size_t replyIndex() const;

    static TurnScript echo(const QString& message);
};
