#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

// One step of an animation: a cell of the atlas (none hides the figure), how long it
// stands, and a sound cue started with it.
struct Step {
    std::optional<int> cell;
    int ms = 0;
    std::optional<QString> sound;
};

// The decoded character.json of a character package.
struct CharacterDefinition {
    QString id;
    QString name;
    double width = 0;
    double height = 0;
    int columns = 0;
    int rows = 0;
    int rest = 0;
    QHash<QString, QVector<Step>> animations;
    QVector<QStringList> idle;

    // Decodes the JSON text; none when it is not JSON, lacks a key or has a key of the wrong type.
    static std::optional<CharacterDefinition> decode(const QByteArray& json);
};
