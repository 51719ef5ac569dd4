#pragma once

#include "workspace/ChatChoice.h"

#include <QString>

#include <variant>

// What a running turn reports: the whole answer so far, the start of a tool, or choices.
struct TurnProgress {
    struct Text {
        QString text;
    };
    struct Tool {
        QString name;
    };
    struct Options {
        QList<ChatChoice> choices;
    };
    std::variant<Text, Tool, Options> value;
};

// The answer of record of a turn.
struct VantleReply {
    QString threadId;
    QString text;
};
