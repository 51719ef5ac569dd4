#include "Package.h"

#include <QBuffer>
#include <QFont>
#include <QHash>
#include <QImageWriter>
#include <QPainter>

#include <algorithm>
#include <map>

namespace {

constexpr int kMaxColumns = 16;

QByteArray quoted(const QString& text) {
    QByteArray out = "\"";
    for (const QChar ch : text) {
        if (ch == '"' || ch == '\\')
            out += '\\';
        out += ch.toLatin1();
    }
    return out + "\"";
}

} // namespace

CharacterPackage buildPackage(const Figure& figure) {
    CharacterPackage pkg;
    pkg.id = figure.id;
    pkg.name = figure.name;
    const Choreography ch = choreograph(figure);
    pkg.idle = ch.idle;

    // Identical pictures share one cell; the rest pose comes first, so it is cell 0.
    std::map<QByteArray, int> seen;
    auto cellFor = [&](const Pose& pose) {
        const QImage img = figure.render(pose).toImage(kCellPixels);
        const QByteArray key(reinterpret_cast<const char*>(img.constBits()), int(img.sizeInBytes()));
        const auto it = seen.find(key);
        if (it != seen.end())
            return it->second;
        const int index = int(pkg.cells.size());
        pkg.cells.push_back(img);
        seen.emplace(key, index);
        return index;
    };
    cellFor(figure.rest());
    for (const ArtAnimation& a : ch.animations) {
        CharacterPackage::Animation out;
        out.name = a.name;
        for (const ArtStep& s : a.steps) {
            CharacterPackage::Step step;
            if (s.pose)
                step.cell = cellFor(*s.pose);
            step.ms = s.ms;
            step.sound = s.sound;
            out.steps.push_back(step);
        }
        pkg.animations.push_back(out);
    }
    const int n = int(pkg.cells.size());
    pkg.columns = std::min(n, kMaxColumns);
    pkg.rows = (n + pkg.columns - 1) / pkg.columns;
    return pkg;
}

QImage CharacterPackage::atlas() const {
    QImage img(columns * kFigurePixels, rows * kFigurePixels, QImage::Format_ARGB32);
    img.fill(0);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const int x = int(i) % columns * kFigurePixels;
        const int y = int(i) / columns * kFigurePixels;
        for (int row = 0; row < kFigurePixels; ++row)
            std::copy_n(reinterpret_cast<const QRgb*>(cells[i].constScanLine(row)), kFigurePixels,
                        reinterpret_cast<QRgb*>(img.scanLine(y + row)) + x);
    }
    return img;
}

QByteArray CharacterPackage::json() const {
    // Written by hand with the keys in ascending order and one animation a line, so the file is
    // stable and easy to read in a diff.
    std::vector<const Animation*> sorted;
    for (const Animation& a : animations)
        sorted.push_back(&a);
    std::sort(sorted.begin(), sorted.end(),
              [](const Animation* a, const Animation* b) { return a->name < b->name; });

    QByteArray out = "{\n  \"animations\": {\n";
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        out += "    " + quoted(sorted[i]->name) + ": [";
        const auto& steps = sorted[i]->steps;
        for (std::size_t j = 0; j < steps.size(); ++j) {
            out += "{";
            if (steps[j].cell)
                out += "\"cell\": " + QByteArray::number(*steps[j].cell) + ", ";
            out += "\"ms\": " + QByteArray::number(steps[j].ms);
            if (!steps[j].sound.isEmpty())
                out += ", \"sound\": " + quoted(steps[j].sound);
            out += j + 1 < steps.size() ? "}, " : "}";
        }
        out += i + 1 < sorted.size() ? "],\n" : "]\n";
    }
    out += "  },\n";
    out += "  \"columns\": " + QByteArray::number(columns) + ",\n";
    out += "  \"height\": " + QByteArray::number(kFigurePixels) + ",\n";
    out += "  \"id\": " + quoted(id) + ",\n";
    out += "  \"idle\": [";
    for (std::size_t t = 0; t < idle.size(); ++t) {
        out += "[";
        for (int k = 0; k < idle[t].size(); ++k)
            out += quoted(idle[t][k]) + (k + 1 < idle[t].size() ? ", " : "");
        out += t + 1 < idle.size() ? "], " : "]";
    }
    out += "],\n";
    out += "  \"name\": " + quoted(name) + ",\n";
    out += "  \"rest\": 0,\n";
    out += "  \"rows\": " + QByteArray::number(rows) + ",\n";
    out += "  \"width\": " + QByteArray::number(kFigurePixels) + "\n";
    out += "}\n";
    return out;
}

QByteArray pngBytes(const QImage& image) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImage img = image.convertToFormat(QImage::Format_ARGB32);
    img.setDotsPerMeterX(2835);
    img.setDotsPerMeterY(2835);
    QImageWriter writer(&buffer, "png");
    writer.setQuality(0); // the strongest compression
    writer.write(img);
    return bytes;
}

QByteArray indexedPngBytes(const QImage& image) {
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    QImage indexed(argb.size(), QImage::Format_Indexed8);
    QList<QRgb> colours;
    QHash<QRgb, int> indexOf;
    for (int y = 0; y < argb.height(); ++y) {
        const auto* in = reinterpret_cast<const QRgb*>(argb.constScanLine(y));
        uchar* out = indexed.scanLine(y);
        for (int x = 0; x < argb.width(); ++x) {
            // Every clear pixel is the same clear colour.
            const QRgb colour = qAlpha(in[x]) == 0 ? 0 : in[x];
            auto at = indexOf.constFind(colour);
            if (at == indexOf.constEnd()) {
                if (colours.size() == 256) {
                    return pngBytes(image);
                }
                at = indexOf.insert(colour, static_cast<int>(colours.size()));
                colours.append(colour);
            }
            out[x] = static_cast<uchar>(*at);
        }
    }
    indexed.setColorTable(colours);
    indexed.setDotsPerMeterX(2835);
    indexed.setDotsPerMeterY(2835);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    writer.setQuality(0); // the strongest compression
    writer.write(indexed);
    return bytes;
}

QImage contactSheet(const CharacterPackage& pkg) {
    const int label = 200;
    const int cell = kFigurePixels;
    const int rowHeight = cell + 22;
    std::size_t widest = 1;
    for (const auto& a : pkg.animations)
        widest = std::max(widest, a.steps.size());
    const int width = label + int(widest) * (cell + 4) + 8;
    const int height = 40 + int(pkg.animations.size()) * rowHeight;
    QImage sheet(width, height, QImage::Format_ARGB32);
    sheet.fill(QColor(0xf4, 0xf1, 0xea));
    QPainter p(&sheet);
    QFont font("DejaVu Sans");
    font.setPixelSize(13);
    p.setFont(font);
    p.setPen(QColor(0x20, 0x20, 0x28));
    QFont title = font;
    title.setPixelSize(20);
    title.setBold(true);
    p.setFont(title);
    p.drawText(10, 28,
               QString("%1  (%2 cells, %3 x %4)")
                   .arg(pkg.name)
                   .arg(pkg.cells.size())
                   .arg(pkg.columns)
                   .arg(pkg.rows));
    p.setFont(font);
    int y = 40;
    for (const auto& a : pkg.animations) {
        const bool loops = loopingAnimations().contains(a.name);
        p.setPen(QColor(0x20, 0x20, 0x28));
        p.drawText(QRect(8, y, label - 12, cell), Qt::AlignVCenter | Qt::AlignLeft | Qt::TextWordWrap,
                   a.name + (loops ? QString("\n(loops)") : QString()));
        int x = label;
        for (const auto& s : a.steps) {
            // Alternate light and dark backdrops so the outline can be judged on both.
            const bool dark = ((x - label) / (cell + 4)) % 2 == 1;
            p.fillRect(x, y, cell, cell, dark ? QColor(0x2a, 0x2c, 0x34) : QColor(0xdd, 0xe2, 0xe8));
            if (s.cell)
                p.drawImage(x, y, pkg.cells[std::size_t(*s.cell)]);
            else
                p.fillRect(x + 4, y + 4, cell - 8, cell - 8,
                           QBrush(QColor(0xb0, 0x40, 0x40), Qt::BDiagPattern));
            p.setPen(QColor(0x40, 0x40, 0x50));
            QString note =
                s.cell ? QString("#%1 %2ms").arg(*s.cell).arg(s.ms) : QString("hidden %1ms").arg(s.ms);
            if (!s.sound.isEmpty())
                note += " ♪" + s.sound;
            p.drawText(QRect(x, y + cell + 2, cell + 4, 18), Qt::AlignLeft | Qt::AlignTop, note);
            x += cell + 4;
        }
        y += rowHeight;
    }
    p.end();
    return sheet;
}
