#pragma once

#include "character/CharacterDefinition.h"

#include <QImage>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

// A loaded character: its definition, the atlas image and a one-byte-per-pixel alpha mask of
// the whole atlas (top row first), so that a hit test is one array read. Sheets are loaded once
// and kept for the rest of the run.
class CharacterSheet {
public:
    const CharacterDefinition definition;
    const QImage atlas;
    const std::vector<unsigned char> mask;

    // The sheet of the character with this id, loaded on first use; none (and one log line)
    // when the package cannot be loaded. Failures are not remembered, so a later call tries again.
    static std::shared_ptr<const CharacterSheet> named(const QString& id);

    // Ids of the character packages in presentation order: the four agents first in their own
    // order, then any other characters by name. Computed once per run.
    static QStringList available();

    // The Characters folder in use, and the Sounds folder inside it; empty when there is none.
    static QString directory();
    static QString soundsDirectory();

    // Points the loader at another Characters folder and forgets what it had loaded (tests).
    static void setDirectory(const QString& path);

    std::optional<std::pair<QString, QVector<Step>>> firstAnimation(const QStringList& names) const;
    std::optional<QVector<Step>> animation(const QString& name) const;
    QStringList playfulAnimations() const;
    QStringList idleAnimations(int level) const;

    // The cell's rectangle in unit coordinates of the atlas, origin at the bottom left.
    QRectF unitRect(int cell) const;
    // Whether the cell has a visible pixel at a point in the cell's unit coordinates (x to the
    // right, y up); alpha above 16 counts as visible.
    bool isOpaque(int cell, QPointF point) const;

    CharacterSheet(CharacterDefinition definition, QImage atlas, std::vector<unsigned char> mask);
};
