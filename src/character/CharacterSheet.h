#pragma once

#include "character/CharacterDefinition.h"

#include <QImage>
#include <QPointF>
#include <QRectF>
#include <QRegion>
#include <QSize>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <utility>

// A loaded character: its definition and its atlas. Pixel art has a few dozen colours, so the
// atlas is kept at one byte a pixel with a table of colours (alpha included): it is its own
// alpha mask, and a hit test is one byte and one table entry. An atlas of more colours than a
// table holds stays at four bytes a pixel. Sheets are loaded once and kept for the rest of the
// run.
class CharacterSheet {
public:
    const CharacterDefinition definition;
    const QImage atlas;

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

    // The cell's visible pixels as they are drawn over a view of this size: the view's pixels
    // whose middles fall on a visible pixel of the cell, as isOpaque would answer for them.
    QRegion opaqueRegion(int cell, QSize shown) const;

    // The cell as it is drawn: a small image of its own, four bytes a pixel, premultiplied.
    QImage cellImage(int cell) const;

    CharacterSheet(CharacterDefinition definition, QImage atlas);
};
