#include "character/CharacterSheet.h"

#include "app/VantleAgent.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QImageReader>
#include <QStandardPaths>
#include <QtDebug>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace {

struct Registry {
    bool located = false;
    QString directory;
    std::optional<QStringList> available;
    QHash<QString, std::shared_ptr<const CharacterSheet>> loaded;
};

Registry& registry() {
    static auto* instance = new Registry; // sheets are kept for the rest of the run
    return *instance;
}

QString locateDirectory() {
    const QStringList candidates{
        // Installed: <prefix>/bin/mirkvantle-agents beside <prefix>/share/mirkvantle-agents.
        QCoreApplication::applicationDirPath() + QLatin1String("/../share/" MIRK_DATA_SUBDIR "/Characters"),
        QStandardPaths::locate(QStandardPaths::GenericDataLocation,
                               QLatin1String(MIRK_DATA_SUBDIR "/Characters"),
                               QStandardPaths::LocateDirectory),
        // Run from the build tree.
        QStringLiteral(MIRK_SOURCE_RESOURCES "/Characters"),
    };
    for (const auto& path : candidates) {
        if (!path.isEmpty() && QFileInfo(path).isDir()) {
            return QFileInfo(path).canonicalFilePath();
        }
    }
    return {};
}

// The reason goes on a line of its own, so that a failure in a long run says whether the files
// or the machine (descriptors, memory) were at fault.
void logFailure(const QString& id, const QString& reason = {}) {
    qInfo().noquote() << QStringLiteral("Could not load the character ") + id;
    if (!reason.isEmpty()) {
        qInfo().noquote() << QStringLiteral("  ") + reason;
    }
}

// The whole file at once, so that no descriptor stays open while the image decodes.
std::optional<QByteArray> readWhole(const QString& path, QString& reason) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        reason = QFileInfo(path).fileName() + QLatin1String(": ") + file.errorString();
        return std::nullopt;
    }
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        reason = QFileInfo(path).fileName() + QLatin1String(": ") + file.errorString();
        return std::nullopt;
    }
    return bytes;
}

// The decoded atlas at one byte a pixel when its colours fit a table, exactly; otherwise at
// four. An atlas stored with a palette decodes so at once, with no copy at four bytes a pixel
// on the way; in one stored at four, every fully transparent pixel becomes the same colour.
QImage compact(const QImage& decoded) {
    if (decoded.format() == QImage::Format_Indexed8) {
        return decoded;
    }
    const QImage argb = decoded.convertToFormat(QImage::Format_ARGB32);
    QImage indexed(argb.size(), QImage::Format_Indexed8);
    QList<QRgb> colours;
    QHash<QRgb, uchar> indexOf;
    QRgb last = 0;
    uchar lastIndex = 0;
    for (int y = 0; y < argb.height(); ++y) {
        const auto* in = reinterpret_cast<const QRgb*>(argb.constScanLine(y));
        uchar* out = indexed.scanLine(y);
        for (int x = 0; x < argb.width(); ++x) {
            const QRgb colour = qAlpha(in[x]) == 0 ? 0 : in[x];
            if (colour != last || colours.isEmpty()) {
                auto it = indexOf.constFind(colour);
                if (it == indexOf.constEnd()) {
                    if (colours.size() == 256) {
                        return argb.convertToFormat(QImage::Format_ARGB32_Premultiplied);
                    }
                    it = indexOf.insert(colour, static_cast<uchar>(colours.size()));
                    colours.append(colour);
                }
                last = colour;
                lastIndex = *it;
            }
            out[x] = lastIndex;
        }
    }
    indexed.setColorTable(colours);
    return indexed;
}

} // namespace

CharacterSheet::CharacterSheet(CharacterDefinition d, QImage a)
    : definition(std::move(d)), atlas(std::move(a)) {}

QString CharacterSheet::directory() {
    auto& r = registry();
    if (!r.located) {
        r.directory = locateDirectory();
        r.located = true;
    }
    return r.directory;
}

QString CharacterSheet::soundsDirectory() {
    const auto dir = directory();
    return dir.isEmpty() ? QString() : dir + QLatin1String("/Sounds");
}

void CharacterSheet::setDirectory(const QString& path) {
    auto& r = registry();
    r.located = true;
    r.directory = path;
    r.available.reset();
    r.loaded.clear();
}

QStringList CharacterSheet::available() {
    auto& r = registry();
    if (r.available) {
        return *r.available;
    }
    QStringList ids;
    const auto dir = directory();
    if (!dir.isEmpty()) {
        for (const auto& name : QDir(dir).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            if (QFileInfo::exists(dir + QLatin1Char('/') + name + QLatin1String("/character.json"))) {
                ids << name;
            }
        }
    }
    auto rank = [](const QString& id) {
        const auto agent = VantleAgents::fromRawValue(id);
        return agent ? static_cast<int>(*agent) : std::numeric_limits<int>::max();
    };
    std::sort(ids.begin(), ids.end(), [&](const QString& a, const QString& b) {
        const int ra = rank(a);
        const int rb = rank(b);
        return ra != rb ? ra < rb : a < b;
    });
    r.available = ids;
    return ids;
}

std::shared_ptr<const CharacterSheet> CharacterSheet::named(const QString& id) {
    auto& r = registry();
    if (auto found = r.loaded.value(id)) {
        return found;
    }
    const auto dir = directory();
    // An id that could climb out of the Characters folder names no character.
    if (dir.isEmpty() || id.isEmpty() || id.contains(QLatin1Char('/')) || id == QLatin1String("..")) {
        logFailure(id);
        return nullptr;
    }
    const QString folder = dir + QLatin1Char('/') + id;
    QString reason;
    const auto json = readWhole(folder + QLatin1String("/character.json"), reason);
    if (!json) {
        logFailure(id, reason);
        return nullptr;
    }
    auto definition = CharacterDefinition::decode(*json);
    if (!definition || definition->columns < 1 || definition->rows < 1) {
        logFailure(id, QStringLiteral("character.json: not a character's definition"));
        return nullptr;
    }
    auto png = readWhole(folder + QLatin1String("/atlas.png"), reason);
    if (!png) {
        logFailure(id, reason);
        return nullptr;
    }
    // Named as PNG, the bytes go to Qt's own decoder with no guessing among image plugins.
    QBuffer buffer(&*png);
    QImageReader reader(&buffer, "png");
    reader.setAutoTransform(false);
    const QImage decoded = reader.read();
    if (decoded.isNull()) {
        logFailure(id, QLatin1String("atlas.png: ") + reader.errorString());
        return nullptr;
    }
    auto sheet = std::make_shared<const CharacterSheet>(std::move(*definition), compact(decoded));
    r.loaded.insert(id, sheet);
    return sheet;
}

std::optional<std::pair<QString, QVector<Step>>>
CharacterSheet::firstAnimation(const QStringList& names) const {
    for (const auto& name : names) {
        if (auto steps = animation(name)) {
            return std::pair{name, *steps};
        }
    }
    return std::nullopt;
}

std::optional<QVector<Step>> CharacterSheet::animation(const QString& name) const {
    const auto it = definition.animations.constFind(name);
    if (it == definition.animations.constEnd() || it->isEmpty()) {
        return std::nullopt;
    }
    return *it;
}

QStringList CharacterSheet::playfulAnimations() const {
    QStringList names;
    for (auto it = definition.animations.constBegin(); it != definition.animations.constEnd(); ++it) {
        const auto& name = it.key();
        if (name == QLatin1String("RestPose") || name == QLatin1String("Show") ||
            name == QLatin1String("Hide") || name.startsWith(QLatin1String("Idle")) ||
            name.startsWith(QLatin1String("Drop"))) {
            continue;
        }
        names << name;
    }
    std::sort(names.begin(), names.end());
    return names;
}

QStringList CharacterSheet::idleAnimations(int level) const {
    QVector<QStringList> tiers;
    for (const auto& tier : definition.idle) {
        if (!tier.isEmpty()) {
            tiers.append(tier);
        }
    }
    if (tiers.isEmpty()) {
        return {};
    }
    const int index = std::clamp(level, 1, static_cast<int>(tiers.size())) - 1;
    return tiers.at(index);
}

QRectF CharacterSheet::unitRect(int cell) const {
    const int columns = definition.columns;
    const int rows = definition.rows;
    const int col = cell % columns;
    const int row = cell / columns;
    return {static_cast<double>(col) / columns, static_cast<double>(rows - 1 - row) / rows, 1.0 / columns,
            1.0 / rows};
}

bool CharacterSheet::isOpaque(int cell, QPointF point) const {
    const double x = point.x();
    const double y = point.y();
    if (!(x >= 0 && x < 1) || !(y >= 0 && y < 1) || cell < 0) {
        return false;
    }
    const qint64 imageWidth = atlas.width();
    const qint64 cellWidth = imageWidth / definition.columns;
    const qint64 cellHeight = atlas.height() / definition.rows;
    const qint64 col = cell % definition.columns;
    const qint64 row = cell / definition.columns;
    const qint64 pixelX = col * cellWidth + static_cast<qint64>(x * static_cast<double>(cellWidth));
    const qint64 pixelY = row * cellHeight + static_cast<qint64>((1 - y) * static_cast<double>(cellHeight));
    if (pixelX >= imageWidth || pixelY >= atlas.height()) {
        return false;
    }
    return qAlpha(atlas.pixel(static_cast<int>(pixelX), static_cast<int>(pixelY))) > 16;
}

QRegion CharacterSheet::opaqueRegion(int cell, QSize shown) const {
    const int cellWidth = atlas.width() / definition.columns;
    const int cellHeight = atlas.height() / definition.rows;
    if (cell < 0 || cell >= definition.columns * definition.rows || cellWidth <= 0 || cellHeight <= 0 ||
        shown.isEmpty()) {
        return {};
    }
    // Which colours of an indexed atlas are visible, looked up once rather than per pixel; a
    // full-colour atlas is read through the same table, one row at a time.
    std::array<bool, 256> visibleColour{};
    const QList<QRgb> colours = atlas.colorTable();
    for (qsizetype i = 0; i < std::min<qsizetype>(colours.size(), 256); ++i) {
        visibleColour[static_cast<std::size_t>(i)] = qAlpha(colours.at(i)) > 16;
    }
    const bool indexed = atlas.format() == QImage::Format_Indexed8;
    std::vector<uchar> row(static_cast<std::size_t>(cellWidth));
    if (!indexed) {
        visibleColour.fill(false);
        visibleColour[1] = true;
    }
    const int left = (cell % definition.columns) * cellWidth;
    const int top = (cell / definition.columns) * cellHeight;
    // The first view pixel whose middle lies at or past a cell edge, for each axis.
    const auto firstAt = [](int edge, int cellSize, int viewSize) {
        const double at = std::ceil(static_cast<double>(edge) * viewSize / cellSize - 0.5);
        return std::clamp(static_cast<int>(at), 0, viewSize);
    };
    QList<QRect> rects;
    for (int y = 0; y < cellHeight; ++y) {
        const int rowTop = firstAt(y, cellHeight, shown.height());
        const int rowBottom = firstAt(y + 1, cellHeight, shown.height());
        if (rowBottom <= rowTop) {
            continue;
        }
        const uchar* line = atlas.constScanLine(top + y);
        if (indexed) {
            std::copy_n(line + left, cellWidth, row.begin());
        } else {
            const auto* pixels = reinterpret_cast<const QRgb*>(line) + left;
            std::transform(pixels, pixels + cellWidth, row.begin(),
                           [](QRgb pixel) { return static_cast<uchar>(qAlpha(pixel) > 16); });
        }
        for (int x = 0; x < cellWidth;) {
            if (!visibleColour[row[static_cast<std::size_t>(x)]]) {
                ++x;
                continue;
            }
            const int start = x;
            while (x < cellWidth && visibleColour[row[static_cast<std::size_t>(x)]]) {
                ++x;
            }
            const int from = firstAt(start, cellWidth, shown.width());
            const int to = firstAt(x, cellWidth, shown.width());
            if (to > from) {
                rects.append(QRect(from, rowTop, to - from, rowBottom - rowTop));
            }
        }
    }
    // One band per row of the cell, each sorted from the left: the order a region keeps.
    QRegion region;
    region.setRects(rects.constData(), static_cast<int>(rects.size()));
    return region;
}

QImage CharacterSheet::cellImage(int cell) const {
    const int cellWidth = atlas.width() / definition.columns;
    const int cellHeight = atlas.height() / definition.rows;
    return atlas
        .copy((cell % definition.columns) * cellWidth, (cell / definition.columns) * cellHeight, cellWidth,
              cellHeight)
        .convertToFormat(QImage::Format_ARGB32_Premultiplied);
}
