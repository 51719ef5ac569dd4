#include "character/CharacterSheet.h"

#include "app/VantleAgent.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QImageReader>
#include <QStandardPaths>
#include <QtDebug>

#include <algorithm>
#include <cstring>
#include <limits>

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

void logFailure(const QString& id) {
    qInfo().noquote() << QStringLiteral("Could not load the character ") + id;
}

// The atlas for display and its alpha plane, one byte per pixel, top row first.
std::optional<std::pair<QImage, std::vector<unsigned char>>> decodeAtlas(const QString& path) {
    QImageReader reader(path);
    reader.setAutoTransform(false);
    QImage image = reader.read();
    if (image.isNull()) {
        return std::nullopt;
    }
    const QImage alpha = image.convertToFormat(QImage::Format_Alpha8);
    const auto width = static_cast<std::size_t>(alpha.width());
    const auto height = static_cast<std::size_t>(alpha.height());
    std::vector<unsigned char> mask(width * height);
    for (std::size_t y = 0; y < height; ++y) {
        // Scan lines are padded; copy only the pixels.
        std::memcpy(mask.data() + y * width, alpha.constScanLine(static_cast<int>(y)), width);
    }
    return std::pair{image.convertToFormat(QImage::Format_ARGB32_Premultiplied), std::move(mask)};
}

} // namespace

CharacterSheet::CharacterSheet(CharacterDefinition d, QImage a, std::vector<unsigned char> m)
    : definition(std::move(d)), atlas(std::move(a)), mask(std::move(m)) {}

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
    QFile file(folder + QLatin1String("/character.json"));
    if (!file.open(QIODevice::ReadOnly)) {
        logFailure(id);
        return nullptr;
    }
    auto definition = CharacterDefinition::decode(file.readAll());
    if (!definition || definition->columns < 1 || definition->rows < 1) {
        logFailure(id);
        return nullptr;
    }
    auto decoded = decodeAtlas(folder + QLatin1String("/atlas.png"));
    if (!decoded) {
        logFailure(id);
        return nullptr;
    }
    auto sheet = std::make_shared<const CharacterSheet>(std::move(*definition), std::move(decoded->first),
                                                        std::move(decoded->second));
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
    const qint64 index = pixelY * imageWidth + pixelX;
    if (index < 0 || index >= static_cast<qint64>(mask.size())) {
        return false;
    }
    return mask[static_cast<std::size_t>(index)] > 16;
}
