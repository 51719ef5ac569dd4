#pragma once

#include <QColor>
#include <QJsonObject>
#include <QString>
#include <QTemporaryDir>

#include <functional>

// A Characters folder made by a test: small packages with atlases drawn by QImage.
class CharacterFixture {
public:
    CharacterFixture();
    // Makes it the folder the loader uses.
    void activate() const;
    QString path() const { return dir.path(); }

    // A valid definition of a columns x rows grid of cellSize-pixel cells with a few animations.
    static QJsonObject definition(const QString& id, int columns = 4, int rows = 3, int cellSize = 8);
    // Writes character.json and an atlas whose pixels are given by alphaAt(x, y) (fully opaque
    // red where not given).
    void add(const QString& id, const QJsonObject& definition,
             const std::function<int(int x, int y)>& alphaAt = {}) const;
    void writeFile(const QString& relativePath, const QByteArray& content) const;

private:
    QTemporaryDir dir;
};
