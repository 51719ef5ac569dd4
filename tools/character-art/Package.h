#pragma once

#include "Animations.h"
#include "Figure.h"

#include <QByteArray>
#include <QImage>

#include <optional>
#include <vector>

// A character package ready to be written: the atlas of distinct cells and character.json.
struct CharacterPackage {
    QString id;
    QString name;
    int columns = 0;
    int rows = 0;
    std::vector<QImage> cells; // each distinct picture once, in order of first use
    struct Step {
        std::optional<int> cell;
        int ms = 0;
        QString sound;
    };
    struct Animation {
        QString name;
        std::vector<Step> steps;
    };
    std::vector<Animation> animations;
    std::vector<QStringList> idle;

    QImage atlas() const;
    QByteArray json() const;
};

CharacterPackage buildPackage(const Figure& figure);

// PNG bytes with fixed settings, so the same image always gives the same file.
QByteArray pngBytes(const QImage& image);
// The atlas as a PNG of indexed colours (a palette with alpha), exact: pixel art has a few dozen
// colours, and the program then decodes it straight into one byte a pixel.
QByteArray indexedPngBytes(const QImage& image);

// A review sheet: every animation as a labelled strip of its cells. Needs a QGuiApplication for
// the lettering.
QImage contactSheet(const CharacterPackage& package);
