#include "character/CharacterSheet.h"
#include "support/CharacterFixture.h"
#include "support/LogCapture.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

namespace {

class CharacterSheetTest : public ::testing::Test {
protected:
    void SetUp() override { fixture.activate(); }
    void TearDown() override { CharacterSheet::setDirectory(QString()); }
    CharacterFixture fixture;
};

} // namespace

TEST_F(CharacterSheetTest, AvailableListsAgentsFirstThenOthersByName) {
    for (const char* id : {"zed", "pelka", "alpha", "dorn", "lirra"}) {
        fixture.add(id, CharacterFixture::definition(id));
    }
    fixture.writeFile("morvo/atlas.png", "no definition beside it");
    EXPECT_EQ(CharacterSheet::available(), (QStringList{"dorn", "lirra", "pelka", "alpha", "zed"}));
    // Computed once per run: a package added later does not appear.
    fixture.add("morvo", CharacterFixture::definition("morvo"));
    EXPECT_EQ(CharacterSheet::available().size(), 5);
}

TEST_F(CharacterSheetTest, BrokenPackagesFailWithOneLogLineAndAreNotRemembered) {
    auto noColumns = CharacterFixture::definition("dorn");
    noColumns["columns"] = 0;
    fixture.add("dorn", noColumns);
    auto noMs = CharacterFixture::definition("lirra");
    auto animations = noMs["animations"].toObject();
    animations["Wave"] = QJsonArray{QJsonObject{{"cell", 1}}};
    noMs["animations"] = animations;
    fixture.add("lirra", noMs);
    auto missingIdle = CharacterFixture::definition("morvo");
    missingIdle.remove("idle");
    fixture.add("morvo", missingIdle);
    fixture.writeFile("pelka/character.json", "{ not json");
    fixture.add("zed", CharacterFixture::definition("zed"));
    fixture.writeFile("zed/atlas.png", "this is no image");
    auto stringRows = CharacterFixture::definition("yan");
    stringRows["rows"] = "3";
    fixture.add("yan", stringRows);

    LogCapture log;
    for (const char* id : {"dorn", "lirra", "morvo", "pelka", "zed", "yan", "nobody", "../dorn"}) {
        EXPECT_EQ(CharacterSheet::named(id), nullptr) << id;
    }
    QStringList headlines;
    QStringList reasons;
    for (const QString& line : LogCapture::lines())
        (line.startsWith("  ") ? reasons : headlines) << line.trimmed();
    EXPECT_EQ(headlines,
              (QStringList{"Could not load the character dorn", "Could not load the character lirra",
                           "Could not load the character morvo", "Could not load the character pelka",
                           "Could not load the character zed", "Could not load the character yan",
                           "Could not load the character nobody", "Could not load the character ../dorn"}));
    // Each says which file was at fault and why, so that a failure in a long run can be told
    // from a fault of the machine.
    ASSERT_EQ(reasons.size(), 7) << reasons.join('\n').toStdString();
    EXPECT_EQ(reasons.at(3), "character.json: not a character's definition");
    EXPECT_TRUE(reasons.at(4).startsWith("atlas.png: ")) << reasons.at(4).toStdString();
    EXPECT_EQ(reasons.at(6), "character.json: No such file or directory");

    // Mended on disk, the package loads: the failure was not cached.
    fixture.add("dorn", CharacterFixture::definition("dorn"));
    const auto sheet = CharacterSheet::named("dorn");
    ASSERT_NE(sheet, nullptr);
    EXPECT_EQ(CharacterSheet::named("dorn"), sheet) << "a loaded sheet is kept";
}

TEST_F(CharacterSheetTest, StepsDecodeHiddenCellsAndSounds) {
    auto d = CharacterFixture::definition("dorn");
    auto animations = d["animations"].toObject();
    animations["Alert"] =
        QJsonArray{QJsonObject{{"cell", 2}, {"ms", 80}, {"sound", "alert"}, {"extra", true}}};
    d["animations"] = animations;
    d["unknownKey"] = "ignored";
    fixture.add("dorn", d);
    const auto sheet = CharacterSheet::named("dorn");
    ASSERT_NE(sheet, nullptr);
    const auto show = sheet->animation("Show");
    ASSERT_TRUE(show);
    EXPECT_FALSE(show->at(0).cell) << "no cell";
    EXPECT_EQ(show->at(1).cell, 1);
    EXPECT_FALSE(sheet->animation("Hide")->at(1).cell) << "null cell";
    const auto alert = sheet->animation("Alert");
    EXPECT_EQ(alert->at(0).sound, QStringLiteral("alert"));
    EXPECT_EQ(alert->at(0).ms, 80);
    EXPECT_EQ(sheet->definition.name, QStringLiteral("Dorn"));

    EXPECT_FALSE(sheet->animation("Empty")) << "an empty animation counts as missing";
    EXPECT_FALSE(sheet->animation("Nope"));
    const auto first = sheet->firstAnimation({"Nope", "Empty", "Wave", "Show"});
    ASSERT_TRUE(first);
    EXPECT_EQ(first->first, QStringLiteral("Wave"));
    EXPECT_FALSE(sheet->firstAnimation({"Nope", "Empty"}));
}

TEST_F(CharacterSheetTest, CellGeometryAndHitMask) {
    // 4 by 3 cells of 8 pixels; in cell 5 (column 1, row 1) alpha is 16 on the left half and
    // 17 on the right; elsewhere fully transparent.
    fixture.add("dorn", CharacterFixture::definition("dorn", 4, 3, 8), [](int x, int y) {
        if (x >= 8 && x < 16 && y >= 8 && y < 16) {
            return x < 12 ? 16 : 17;
        }
        return 0;
    });
    const auto sheet = CharacterSheet::named("dorn");
    ASSERT_NE(sheet, nullptr);
    EXPECT_EQ(sheet->atlas.format(), QImage::Format_Indexed8);
    EXPECT_EQ(sheet->cellImage(5).pixel(4, 0), qPremultiply(qRgba(200, 40, 40, 17)))
        << "a cell is drawn in the atlas's own colours";

    const QRectF first = sheet->unitRect(0);
    EXPECT_DOUBLE_EQ(first.x(), 0.0);
    EXPECT_DOUBLE_EQ(first.y(), 2.0 / 3.0);
    EXPECT_DOUBLE_EQ(first.width(), 0.25);
    EXPECT_DOUBLE_EQ(first.height(), 1.0 / 3.0);
    const QRectF last = sheet->unitRect(11);
    EXPECT_DOUBLE_EQ(last.x(), 0.75);
    EXPECT_DOUBLE_EQ(last.y(), 0.0);

    EXPECT_FALSE(sheet->isOpaque(5, {0.25, 0.5})) << "alpha 16 is transparent";
    EXPECT_TRUE(sheet->isOpaque(5, {0.75, 0.5})) << "alpha 17 is a pixel";
    EXPECT_TRUE(sheet->isOpaque(5, {0.999, 0.001}));
    EXPECT_FALSE(sheet->isOpaque(5, {1.0, 0.5})) << "x = 1 is outside";
    EXPECT_FALSE(sheet->isOpaque(5, {0.75, 1.0}));
    EXPECT_FALSE(sheet->isOpaque(5, {-0.01, 0.5}));
    EXPECT_FALSE(sheet->isOpaque(4, {0.75, 0.5})) << "the cell to the left is empty";
    EXPECT_FALSE(sheet->isOpaque(99, {0.5, 0.5})) << "beyond the atlas";
    // y counts upwards: the top of the cell is y near 1.
    fixture.add("lirra", CharacterFixture::definition("lirra", 1, 1, 8),
                [](int, int y) { return y == 0 ? 255 : 0; });
    const auto topOnly = CharacterSheet::named("lirra");
    ASSERT_NE(topOnly, nullptr);
    EXPECT_TRUE(topOnly->isOpaque(0, {0.5, 0.95}));
    EXPECT_FALSE(topOnly->isOpaque(0, {0.5, 0.05}));
}

TEST_F(CharacterSheetTest, IdleTiersAndPlayfulNames) {
    auto d = CharacterFixture::definition("dorn");
    d["idle"] = QJsonArray{QJsonArray{}, QJsonArray{"a"}, QJsonArray{"b", "c"}};
    auto animations = d["animations"].toObject();
    for (const char* name : {"Dropdown", "Idle", "idleLower", "Juggle", "Dance"}) {
        animations[name] = QJsonArray{QJsonObject{{"cell", 0}, {"ms", 100}}};
    }
    d["animations"] = animations;
    fixture.add("dorn", d);
    auto empty = CharacterFixture::definition("lirra");
    empty["idle"] = QJsonArray{};
    fixture.add("lirra", empty);

    const auto sheet = CharacterSheet::named("dorn");
    ASSERT_NE(sheet, nullptr);
    EXPECT_EQ(sheet->idleAnimations(1), QStringList{"a"});
    EXPECT_EQ(sheet->idleAnimations(2), (QStringList{"b", "c"}));
    EXPECT_EQ(sheet->idleAnimations(3), (QStringList{"b", "c"})) << "clamped to the last tier left";
    EXPECT_EQ(sheet->idleAnimations(0), QStringList{"a"});
    EXPECT_TRUE(CharacterSheet::named("lirra")->idleAnimations(1).isEmpty());

    EXPECT_EQ(sheet->playfulAnimations(), (QStringList{"Dance", "Empty", "Juggle", "Wave", "idleLower"}));
}
