#include "support/CharacterFixture.h"

#include "character/CharacterSheet.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>

CharacterFixture::CharacterFixture() {
    QDir(dir.path()).mkpath(QStringLiteral("Sounds"));
}

void CharacterFixture::activate() const {
    CharacterSheet::setDirectory(dir.path());
}

QJsonObject CharacterFixture::definition(const QString& id, int columns, int rows, int cellSize) {
    auto step = [](int cell, int ms) { return QJsonObject{{"cell", cell}, {"ms", ms}}; };
    QJsonObject animations{
        {"RestPose", QJsonArray{step(0, 100)}},
        {"Show", QJsonArray{QJsonObject{{"ms", 50}}, step(1, 100), step(0, 100)}},
        {"Hide", QJsonArray{step(1, 100), QJsonObject{{"cell", QJsonValue::Null}, {"ms", 50}}}},
        {"Wave", QJsonArray{step(1, 100), step(2, 100), step(0, 100)}},
        {"IdleBlink", QJsonArray{step(2, 100)}},
        {"DropReady", QJsonArray{step(1, 100)}},
        {"Empty", QJsonArray{}},
    };
    return QJsonObject{{"id", id},
                       {"name", id.left(1).toUpper() + id.mid(1)},
                       {"width", columns * cellSize},
                       {"height", rows * cellSize},
                       {"columns", columns},
                       {"rows", rows},
                       {"rest", 0},
                       {"animations", animations},
                       {"idle", QJsonArray{QJsonArray{"IdleBlink"}}},
                       {"cellSize", cellSize}};
}

void CharacterFixture::writeFile(const QString& relativePath, const QByteArray& content) const {
    const QString full = dir.path() + QLatin1Char('/') + relativePath;
    QDir().mkpath(QFileInfo(full).absolutePath());
    QFile f(full);
    if (f.open(QIODevice::WriteOnly)) {
        f.write(content);
    }
}

void CharacterFixture::add(const QString& id, const QJsonObject& d,
                           const std::function<int(int, int)>& alphaAt) const {
    writeFile(id + QLatin1String("/character.json"), QJsonDocument(d).toJson());
    const int cellSize = d.value("cellSize").toInt(8);
    const int width = std::max(1, d.value("columns").toInt() * cellSize);
    const int height = std::max(1, d.value("rows").toInt() * cellSize);
    QImage atlas(width, height, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int alpha = alphaAt ? alphaAt(x, y) : 255;
            atlas.setPixel(x, y, qRgba(200, 40, 40, alpha));
        }
    }
    QDir().mkpath(dir.path() + QLatin1Char('/') + id);
    atlas.save(dir.path() + QLatin1Char('/') + id + QLatin1String("/atlas.png"));
}
