// The four agents' packages as committed under resources/Characters, read through the loader the
// application uses, and the tool that draws them.

#include "character/CharacterSheet.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QString kCharacters = QStringLiteral(MIRK_SOURCE_RESOURCES "/Characters");
const QStringList kAgents{"dorn", "lirra", "morvo", "pelka"};

const QStringList kRequired{"Alert",
                            "Catch",
                            "CheckingSchedule",
                            "CheckingSomething",
                            "Confused",
                            "Congratulate",
                            "CoordinatingCover",
                            "Delegating",
                            "DontRecognize",
                            "DropNearby",
                            "DropReady",
                            "Explain",
                            "GetAttention",
                            "Greet",
                            "Greeting",
                            "Hide",
                            "Pleased",
                            "Process",
                            "Processing",
                            "Reading",
                            "ReadingPolicy",
                            "Reassure",
                            "RecordingLeave",
                            "RestPose",
                            "ReviewingRecords",
                            "Search",
                            "Searching",
                            "SendMail",
                            "Show",
                            "Stressed",
                            "Think",
                            "Thinking",
                            "Uncertain",
                            "Wave",
                            "Write",
                            "Writing",
                            "WritingProposal"};

const QStringList kLooping{"Thinking",
                           "Think",
                           "Processing",
                           "Writing",
                           "Write",
                           "Searching",
                           "Search",
                           "CheckingSchedule",
                           "ReviewingRecords",
                           "ReadingPolicy",
                           "RecordingLeave",
                           "CoordinatingCover",
                           "Delegating",
                           "WritingProposal",
                           "SendMail",
                           "DropNearby",
                           "DropReady"};

// The share of a cell's pixels that are visible, by the sheet's own atlas.
double opaqueShare(const CharacterSheet& sheet, int cell) {
    const int cw = sheet.atlas.width() / sheet.definition.columns;
    const int ch = sheet.atlas.height() / sheet.definition.rows;
    const int x0 = cell % sheet.definition.columns * cw;
    const int y0 = cell / sheet.definition.columns * ch;
    int visible = 0;
    for (int y = y0; y < y0 + ch; ++y)
        for (int x = x0; x < x0 + cw; ++x)
            visible += qAlpha(sheet.atlas.pixel(x, y)) > 16 ? 1 : 0;
    return double(visible) / (cw * ch);
}

// Walks the MPEG audio frames of a file; the number of Layer III frames that follow each other
// without a gap, or -1 when the data is not such a stream. `seconds` gets the playing time.
int mp3Frames(const QByteArray& data, double* seconds) {
    static const int kBitrates[2][16] = {
        {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, -1},
        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, -1}};
    static const int kRates[3][3] = {{44100, 48000, 32000}, {22050, 24000, 16000}, {11025, 12000, 8000}};
    qsizetype pos = 0;
    if (data.startsWith("ID3") && data.size() > 10)
        pos =
            10 + ((data[6] & 0x7f) << 21 | (data[7] & 0x7f) << 14 | (data[8] & 0x7f) << 7 | (data[9] & 0x7f));
    int frames = 0;
    *seconds = 0;
    while (pos + 4 <= data.size()) {
        const auto b = [&](qsizetype i) { return quint8(data[pos + i]); };
        if (b(0) != 0xff || (b(1) & 0xe0) != 0xe0)
            return -1;
        const int version = (b(1) >> 3) & 3; // 3: MPEG-1, 2: MPEG-2, 0: MPEG-2.5
        const int layer = (b(1) >> 1) & 3;   // 1: Layer III
        const int bitrateIndex = b(2) >> 4;
        const int rateIndex = (b(2) >> 2) & 3;
        if (version == 1 || layer != 1 || bitrateIndex == 0 || bitrateIndex == 15 || rateIndex == 3)
            return -1;
        const bool mpeg1 = version == 3;
        const int bitrate = kBitrates[mpeg1 ? 0 : 1][bitrateIndex] * 1000;
        const int rate = kRates[mpeg1 ? 0 : version == 2 ? 1 : 2][rateIndex];
        const int samples = mpeg1 ? 1152 : 576;
        const int length = samples / 8 * bitrate / rate + ((b(2) >> 1) & 1);
        pos += length;
        ++frames;
        *seconds += double(samples) / rate;
    }
    return pos == data.size() ? frames : -1;
}

[[maybe_unused]] QMap<QString, QByteArray> filesUnder(const QString& root) {
    QMap<QString, QByteArray> files;
    QDirIterator it(root, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile f(path);
        if (f.open(QIODevice::ReadOnly))
            files.insert(QDir(root).relativeFilePath(path), f.readAll());
    }
    return files;
}

class CharacterPackagesTest : public ::testing::Test {
protected:
    void SetUp() override { CharacterSheet::setDirectory(kCharacters); }

    static std::shared_ptr<const CharacterSheet> load(const QString& id) {
        auto sheet = CharacterSheet::named(id);
        EXPECT_TRUE(sheet) << id.toStdString();
        return sheet;
    }
};

TEST_F(CharacterPackagesTest, EveryAgentLoadsWithinItsBudgets) {
    EXPECT_EQ(CharacterSheet::available().mid(0, 4), kAgents);
    for (const QString& id : kAgents) {
        const auto sheet = load(id);
        ASSERT_TRUE(sheet);
        const CharacterDefinition& d = sheet->definition;
        EXPECT_EQ(d.id, id);
        EXPECT_FALSE(d.name.isEmpty());
        EXPECT_GE(d.width, 96);
        EXPECT_LE(d.width, 128);
        EXPECT_GE(d.height, 96);
        EXPECT_LE(d.height, 128);
        // One cell is the figure's size at scale 1.0: nothing is magnified.
        EXPECT_EQ(sheet->atlas.width(), d.columns * int(d.width)) << id.toStdString();
        EXPECT_EQ(sheet->atlas.height(), d.rows * int(d.height)) << id.toStdString();
        EXPECT_LE(sheet->atlas.width(), 2048);
        EXPECT_LE(sheet->atlas.height(), 2048);
        EXPECT_LE(QFileInfo(kCharacters + "/" + id + "/atlas.png").size(), 1536 * 1024);
        // A few dozen colours: one byte a pixel, and a hit test reads the atlas itself.
        EXPECT_EQ(sheet->atlas.format(), QImage::Format_Indexed8) << id.toStdString();
    }
}

TEST_F(CharacterPackagesTest, TheRegionThatTakesClicksIsExactlyTheVisiblePixelsAtEverySize) {
    const auto sheet = load("lirra");
    ASSERT_TRUE(sheet);
    const int rest = sheet->definition.rest;
    // Smaller, the same, a size that isn't a whole multiple, and double; a pose and an empty cell.
    for (const QSize shown : {QSize(96, 96), QSize(120, 120), QSize(150, 150), QSize(240, 240)}) {
        for (const int cell : {rest, rest + 1, sheet->definition.columns * sheet->definition.rows - 1}) {
            const QRegion region = sheet->opaqueRegion(cell, shown);
            QImage taken(shown, QImage::Format_Grayscale8);
            taken.fill(0);
            for (const QRect& r : region) {
                ASSERT_TRUE(taken.rect().contains(r)) << "inside the view";
                for (int y = r.top(); y <= r.bottom(); ++y) {
                    for (int x = r.left(); x <= r.right(); ++x) {
                        ASSERT_EQ(taken.pixelColor(x, y).value(), 0) << "no pixel twice";
                        taken.setPixelColor(x, y, Qt::white);
                    }
                }
            }
            // Each view pixel shows the cell's pixel under its middle, counted exactly.
            const int cellSize = int(sheet->definition.width);
            int visible = 0;
            for (int y = 0; y < shown.height(); ++y) {
                for (int x = 0; x < shown.width(); ++x) {
                    const int sx = (2 * x + 1) * cellSize / (2 * shown.width());
                    const int sy = (2 * y + 1) * cellSize / (2 * shown.height());
                    const QPointF unit((sx + 0.5) / cellSize, 1 - (sy + 0.5) / cellSize);
                    const bool opaque = sheet->isOpaque(cell, unit);
                    visible += opaque;
                    ASSERT_EQ(taken.pixelColor(x, y).value() != 0, opaque)
                        << "cell " << cell << " at " << shown.width() << " px, pixel " << x << "," << y;
                }
            }
            if (cell == rest) {
                EXPECT_GT(visible, shown.width() * shown.height() / 10) << "the figure is there";
            }
        }
    }
    EXPECT_TRUE(sheet->opaqueRegion(-1, QSize(120, 120)).isEmpty());
    EXPECT_TRUE(sheet->opaqueRegion(rest, QSize()).isEmpty());
}

TEST_F(CharacterPackagesTest, EveryRequestedAnimationExistsAndKeepsToTheGrid) {
    for (const QString& id : kAgents) {
        const auto sheet = load(id);
        ASSERT_TRUE(sheet);
        const CharacterDefinition& d = sheet->definition;
        for (const QString& name : kRequired)
            EXPECT_TRUE(sheet->animation(name)) << id.toStdString() << " lacks " << name.toStdString();
        ASSERT_GE(d.rest, 0);
        ASSERT_LT(d.rest, d.columns * d.rows);
        EXPECT_GE(opaqueShare(*sheet, d.rest), 0.08);
        for (auto it = d.animations.cbegin(); it != d.animations.cend(); ++it) {
            const std::string where = id.toStdString() + " " + it.key().toStdString();
            const QVector<Step>& steps = it.value();
            ASSERT_FALSE(steps.isEmpty()) << where;
            for (int i = 0; i < steps.size(); ++i) {
                EXPECT_GT(steps[i].ms, 0) << where;
                // Only an entrance starts hidden and only an exit ends hidden.
                const bool mayHide =
                    (it.key() == "Show" && i == 0) || (it.key() == "Hide" && i == steps.size() - 1);
                if (!steps[i].cell) {
                    EXPECT_TRUE(mayHide) << where << " hides the figure at step " << i;
                    continue;
                }
                const int cell = *steps[i].cell;
                ASSERT_GE(cell, 0) << where;
                ASSERT_LT(cell, d.columns * d.rows) << where;
                EXPECT_GE(opaqueShare(*sheet, cell), 0.08)
                    << where << " step " << i << " shows almost nothing";
            }
            if (it.key() == "Show") {
                EXPECT_FALSE(steps.first().cell) << where;
            }
            if (it.key() == "Hide") {
                EXPECT_FALSE(steps.last().cell) << where;
            } else if (!kLooping.contains(it.key())) {
                // Everything else that is not played looping comes back to the rest pose.
                EXPECT_EQ(steps.last().cell, d.rest) << where << " does not end at rest";
            }
        }
    }
}

TEST_F(CharacterPackagesTest, IdleTiersAndPlayfulAnimations) {
    for (const QString& id : kAgents) {
        const auto sheet = load(id);
        ASSERT_TRUE(sheet);
        EXPECT_EQ(sheet->definition.idle.size(), 3) << id.toStdString();
        for (int level = 1; level <= 3; ++level) {
            const QStringList tier = sheet->idleAnimations(level);
            EXPECT_GE(tier.size(), 2) << id.toStdString() << " tier " << level;
            for (const QString& name : tier) {
                EXPECT_TRUE(name.startsWith("Idle")) << name.toStdString();
                EXPECT_TRUE(sheet->animation(name)) << name.toStdString();
            }
        }
        QStringList own = sheet->playfulAnimations();
        for (const QString& name : kRequired)
            own.removeAll(name);
        EXPECT_GE(own.size(), 4) << id.toStdString() << " has too few playful animations of its own";
    }
}

TEST_F(CharacterPackagesTest, EverySoundCueIsAShortMp3) {
    QSet<QString> cues;
    for (const QString& id : kAgents) {
        const auto sheet = load(id);
        ASSERT_TRUE(sheet);
        for (const QVector<Step>& steps : sheet->definition.animations)
            for (const Step& s : steps)
                if (s.sound)
                    cues.insert(*s.sound);
    }
    EXPECT_GE(cues.size(), 6);
    for (const QString& cue : cues) {
        QFile file(kCharacters + "/Sounds/" + cue + ".mp3");
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << cue.toStdString();
        const QByteArray data = file.readAll();
        EXPECT_GT(data.size(), 1000) << cue.toStdString();
        double seconds = 0;
        const int frames = mp3Frames(data, &seconds);
        EXPECT_GE(frames, 5) << cue.toStdString() << " is not a stream of MP3 frames";
        EXPECT_LE(seconds, 0.75) << cue.toStdString() << " is too long for a cue";
    }
}

TEST_F(CharacterPackagesTest, TheToolDrawsTheSameFilesEveryTime) {
    QTemporaryDir first;
    QTemporaryDir second;
    ASSERT_TRUE(first.isValid() && second.isValid());
    for (const QTemporaryDir* dir : {&first, &second}) {
        QProcess tool;
        tool.start(QStringLiteral(MIRK_CHARACTER_ART_PATH), {dir->path()});
        ASSERT_TRUE(tool.waitForFinished(120000));
        ASSERT_EQ(tool.exitCode(), 0) << tool.readAllStandardError().toStdString();
    }
    const auto a = filesUnder(first.path());
    const auto b = filesUnder(second.path());
    EXPECT_GE(a.size(), 4 * 2 + 6 + 2 + 7);
    EXPECT_EQ(a.keys(), b.keys());
    for (auto it = a.cbegin(); it != a.cend(); ++it) {
        EXPECT_TRUE(b.value(it.key()) == it.value()) << it.key().toStdString() << " differs between two runs";
        QFile committed(QStringLiteral(MIRK_SOURCE_RESOURCES) + "/" + it.key());
        ASSERT_TRUE(committed.open(QIODevice::ReadOnly)) << it.key().toStdString() << " is not committed";
        EXPECT_TRUE(committed.readAll() == it.value())
            << it.key().toStdString() << " differs from resources/; run character-art on resources/";
    }
}

} // namespace
