// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFileSequence.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using kxCheck::FileSequence;
using kxCheck::FrameFile;
using kxCheck::frameFileName;
using kxCheck::readFrameFile;
using kxCheck::sequenceOfFile;
using kxCheck::sequencesOfPattern;
using kxCheck::shownName;
using kxFrames::TileMarker;

// "beauty.|.exr", with "tile " or "dot tile " before it for tiles; a single file without "|".
std::string spelled(const FileSequence& sequence) {
    const std::string tile = sequence.tile == TileMarker::none    ? ""
                             : sequence.tile == TileMarker::plain ? "tile "
                                                                  : "dot tile ";
    if (sequence.isSingle) return tile + sequence.prefix.toStdString();
    return tile + sequence.prefix.toStdString() + "|" + sequence.suffix.toStdString();
}

std::string sequenceOf(const QByteArray& name) {
    return spelled(sequenceOfFile(name));
}

std::string patternOf(const QByteArray& name) {
    std::string text;
    for (const FileSequence& sequence : sequencesOfPattern(name))
        text += (text.empty() ? "" : ", ") + spelled(sequence);
    return text;
}

FileSequence untiled(const QByteArray& prefix, const QByteArray& suffix) {
    return {prefix, suffix, TileMarker::none, false};
}

// "lead[text]number", with "tile " and its number; empty for a name of other files.
std::string readIn(const QByteArray& name, const FileSequence& sequence) {
    const auto read = readFrameFile(name, sequence);
    if (!read) return "";
    EXPECT_EQ(read->file.name, name);
    const std::string tile = read->file.tile ? "tile " + std::to_string(*read->file.tile) + " " : "";
    const std::string number = read->file.number ? std::to_string(*read->file.number) : "too long";
    return tile + read->lead.toStdString() + "[" + read->file.text.toStdString() + "]" + number;
}

TEST(FileSequenceTest, LastGroupOfDigitsBeforeTheLastDotIsTheNumber) {
    EXPECT_EQ(sequenceOf("beauty.0042.exr"), "beauty.|.exr");
    EXPECT_EQ(sequenceOf("beauty_0042_diffuse.exr"), "beauty_|_diffuse.exr");
    EXPECT_EQ(sequenceOf("beauty.0042_v2.exr"), "beauty.0042_v|.exr");
    EXPECT_EQ(sequenceOf("beauty0042.exr"), "beauty|.exr");
    EXPECT_EQ(sequenceOf("0042.exr"), "|.exr");
    EXPECT_EQ(sequenceOf("7.exr"), "|.exr");
    EXPECT_EQ(sequenceOf("b7a.exr"), "b|a.exr");
}

TEST(FileSequenceTest, NamesWithoutNumberAreSingleFiles) {
    for (const char* const name : {"comp.exr", "a.exr", "noext", "shot.0042", ".exr", "comp.exr2"})
        EXPECT_EQ(sequenceOf(name), name);
}

TEST(FileSequenceTest, MinusBehindASeparatorIsTheSignOfTheNumber) {
    EXPECT_EQ(sequenceOf("beauty.-0042.exr"), "beauty.|.exr");
    EXPECT_EQ(sequenceOf("beauty_-5.exr"), "beauty_|.exr");
    EXPECT_EQ(sequenceOf("-5.exr"), "|.exr");
    EXPECT_EQ(sequenceOf("shot-0042.exr"), "shot-|.exr");
    EXPECT_EQ(sequenceOf("shot.--5.exr"), "shot.--|.exr");
    EXPECT_EQ(sequenceOf("b_tile03_.-0005.exr"), "dot tile b|.exr");
}

TEST(FileSequenceTest, TileMarkersBelongToTheSequence) {
    EXPECT_EQ(sequenceOf("beauty_tile03_.0042.exr"), "dot tile beauty|.exr");
    EXPECT_EQ(sequenceOf("beauty_tile03_0042.exr"), "tile beauty|.exr");
}

TEST(FileSequenceTest, WhatOnlyLooksLikeATileMarkerIsPartOfThePrefix) {
    EXPECT_EQ(sequenceOf("floor_tile0042.exr"), "floor_tile|.exr");
    EXPECT_EQ(sequenceOf("b_tile45_.0042.exr"), "b_tile45_.|.exr");
    EXPECT_EQ(sequenceOf("b_tilexy_0042.exr"), "b_tilexy_|.exr");
}

TEST(FileSequenceTest, SignsOfPatternsAreLettersInFileNames) {
    EXPECT_EQ(sequenceOf("a*b#.0042.exr"), "a*b#.|.exr");
    EXPECT_EQ(sequenceOf("a\\b.0042.exr"), "a\\b.|.exr");
}

TEST(FileSequenceTest, PatternsStandWhereTheNumberIs) {
    for (const char* const name :
         {"beauty.####.exr", "beauty.#.exr", "beauty.*.exr", "beauty.**.exr", "beauty.%04d.exr", "beauty.%d.exr",
          "beauty.$F4.exr", "beauty.$F.exr", "beauty.@@@@.exr", "beauty.@.exr"})
        EXPECT_EQ(patternOf(name), "beauty.|.exr") << name;
    EXPECT_EQ(patternOf("beauty.%04d_v002.exr"), "beauty.|_v002.exr");
    EXPECT_EQ(patternOf("v01_####_l2.exr"), "v01_|_l2.exr");
    EXPECT_EQ(patternOf("beauty@@@.exr"), "beauty|.exr");
    EXPECT_EQ(patternOf("%d.exr"), "|.exr");
}

TEST(FileSequenceTest, NamesWithoutPatternHaveNone) {
    for (const char* const name : {"beauty.0042.exr", "comp.exr", "user@host.0042.exr", "50%done.exr", "$FF.exr",
                                   "a$Fx.exr", "a%04x.exr", ""})
        EXPECT_EQ(patternOf(name), "") << name;
}

TEST(FileSequenceTest, PatternsHaveSomethingBehindTheNumber) {
    for (const char* const name : {"#", "*", "beauty####", "beauty%04d", "beauty.@@", "b_tile00_####"})
        EXPECT_EQ(patternOf(name), "") << name;
    EXPECT_EQ(patternOf("beauty####."), "beauty|.");
}

TEST(FileSequenceTest, LastPatternCounts) {
    EXPECT_EQ(patternOf("a@@b.%04d.exr"), "a@@b.|.exr");
    EXPECT_EQ(patternOf("a%d.####.exr"), "a%d.|.exr");
}

TEST(FileSequenceTest, PatternsMayHaveTiles) {
    EXPECT_EQ(patternOf("b_tile00_.####.exr"), "dot tile b|.exr, b_tile00_.|.exr");
    EXPECT_EQ(patternOf("b_tile00_%04d.exr"), "tile b|.exr, b_tile00_|.exr");
    EXPECT_EQ(patternOf("floor_tile*.exr"), "dot tile floor|.exr, floor_tile|.exr");
}

TEST(FileSequenceTest, FilesAreReadWithTheirNumber) {
    const FileSequence beauty = untiled("beauty.", ".exr");
    EXPECT_EQ(readIn("beauty.0042.exr", beauty), "[0042]42");
    EXPECT_EQ(readIn("beauty.7.exr", beauty), "[7]7");
    EXPECT_EQ(readIn("beauty.-0042.exr", beauty), "[-0042]-42");
    EXPECT_EQ(readIn("0042.exr", untiled("", ".exr")), "[0042]42");
    EXPECT_EQ(readIn("-7.exr", untiled("", ".exr")), "[-7]-7");
    EXPECT_EQ(readIn("v1005.exr", untiled("v1", ".exr")), "[005]5");
    EXPECT_EQ(readIn("b.125.exr", untiled("b.", "5.exr")), "[12]12");
}

TEST(FileSequenceTest, SeparatorsBeforeTheNumberAreItsLead) {
    const FileSequence beauty = untiled("beauty", ".exr");
    EXPECT_EQ(readIn("beauty.0042.exr", beauty), ".[0042]42");
    EXPECT_EQ(readIn("beauty_0042.exr", beauty), "_[0042]42");
    EXPECT_EQ(readIn("beauty0042.exr", beauty), "[0042]42");
    EXPECT_EQ(readIn("beauty.-42.exr", beauty), ".[-42]-42");
    EXPECT_EQ(readIn("beauty-0042.exr", beauty), "-[0042]42");
}

TEST(FileSequenceTest, OtherNamesAreNotRead) {
    const FileSequence beauty = untiled("beauty.", ".exr");
    for (const char* const name :
         {"", "beauty.exr", "beauty..exr", "Beauty.0042.exr", "beauty.0042.EXR", "beauty.0042.exr.bak",
          "beauty.a.exr", "beauty.42a.exr", "beauty.a42.exr", "beauty.+42.exr", "beauty. 42.exr", "beauty.42 .exr",
          "beauty.4 2.exr", "beauty.4-2.exr", "beauty.--2.exr", "beauty.-.exr", "beauty.0x2.exr", "beauty.1.2.exr",
          "beauty_0042.exr"})
        EXPECT_EQ(readIn(name, beauty), "") << name;
    EXPECT_EQ(readIn("comp.exr", {"comp.exr", "", TileMarker::none, true}), "");
}

TEST(FileSequenceTest, NumbersOfMoreThanFifteenCharactersAreNotValues) {
    const FileSequence beauty = untiled("beauty.", ".exr");
    EXPECT_EQ(readIn("beauty.123456789012345.exr", beauty), "[123456789012345]123456789012345");
    EXPECT_EQ(readIn("beauty.000000000000001.exr", beauty), "[000000000000001]1");
    EXPECT_EQ(readIn("beauty.0000000000000001.exr", beauty), "[0000000000000001]too long");
    EXPECT_EQ(readIn("beauty.-12345678901234.exr", beauty), "[-12345678901234]-12345678901234");
    EXPECT_EQ(readIn("beauty.-123456789012345.exr", beauty), "[-123456789012345]too long");
    EXPECT_EQ(readIn("beauty." + QByteArray(200, '9') + ".exr", beauty), "[" + std::string(200, '9') + "]too long");
    const FileSequence tiles{"b", ".exr", TileMarker::separated, false};
    EXPECT_EQ(readIn("b_tile02_." + QByteArray(30, '9') + ".exr", tiles),
              "tile 2 [" + std::string(30, '9') + "]too long");
}

TEST(FileSequenceTest, TilesAreReadFromTheirMarker) {
    const FileSequence dotted{"b", ".exr", TileMarker::separated, false};
    EXPECT_EQ(readIn("b_tile03_.0042.exr", dotted), "tile 3 [0042]42");
    EXPECT_EQ(readIn("b_tile00_.-5.exr", dotted), "tile 0 [-5]-5");
    for (const char* const name : {"b_tile03_. 42.exr", "b_tile03_.+42.exr", "b_tile03_0042.exr", "b_tile03_..exr"})
        EXPECT_EQ(readIn(name, dotted), "") << name;
    const FileSequence plain{"b", ".exr", TileMarker::plain, false};
    EXPECT_EQ(readIn("b_tile29_0042.exr", plain), "tile 29 [0042]42");
    for (const char* const name : {"b_tile30_0042.exr", "b_tile3_0042.exr", "b.0042.exr", "b_Tile03_0042.exr"})
        EXPECT_EQ(readIn(name, plain), "") << name;
}

TEST(FileSequenceTest, NamesAreShownWithSignsForTheNumbers) {
    EXPECT_EQ(shownName(untiled("beauty.", ".exr")), "beauty.####.exr");
    EXPECT_EQ(shownName({"comp.exr", "", TileMarker::none, true}), "comp.exr");
    EXPECT_EQ(shownName({"b", ".exr", TileMarker::separated, false}), "b_tile##_.####.exr");
    EXPECT_EQ(shownName({"b", ".exr", TileMarker::plain, false}), "b_tile##_####.exr");
}

TEST(FileSequenceTest, ShownNameIsAPatternOfTheSequence) {
    for (const FileSequence& sequence :
         {untiled("beauty.", ".exr"), FileSequence{"b", ".exr", TileMarker::separated, false},
          FileSequence{"b", ".exr", TileMarker::plain, false}})
        EXPECT_EQ(spelled(sequencesOfPattern(shownName(sequence)).at(0)), spelled(sequence));
}

TEST(FileSequenceTest, FileNamesOfFramesAreReadAsTheyWereMade) {
    for (const FileSequence& sequence :
         {untiled("beauty.", ".exr"), FileSequence{"b", ".exr", TileMarker::separated, false},
          FileSequence{"b_", "_x.exr", TileMarker::separated, false},
          FileSequence{"b", ".exr", TileMarker::plain, false}}) {
        const bool isTiled = sequence.tile != TileMarker::none;
        const QByteArray name = frameFileName(sequence, isTiled ? std::optional(7) : std::nullopt, "-0012");
        EXPECT_EQ(readIn(name, sequence), isTiled ? "tile 7 [-0012]-12" : "[-0012]-12") << name.constData();
    }
    EXPECT_EQ(frameFileName({"comp.exr", "", TileMarker::none, true}, std::nullopt, ""), "comp.exr");
}

TEST(FileSequenceTest, EveryFileIsOneOfItsOwnSequence) {
    for (const char* const name : {"beauty.0042.exr", "beauty.-0042.exr", "-5.exr", "shot-5.exr",
                                   "b_tile03_.-0005.exr", "floor_tile0042.exr", "b_tile45_.0042.exr",
                                   "beauty__tile03_.0042.exr", "a._.7_x.exr", "b.99999999999999999999999.exr"}) {
        const auto read = readFrameFile(name, sequenceOfFile(name));
        ASSERT_TRUE(read) << name;
        EXPECT_EQ(read->lead, "") << name;
    }
}

TEST(FileSequenceTest, FilesStandByNumberTileAndLength) {
    const std::vector<FrameFile> sorted{{-2, "-2", {}, "b.-2.exr"},
                                        {1, "1", {}, "b.1.exr"},
                                        {1, "01", {}, "b.01.exr"},
                                        {1, "001", {}, "b.001.exr"},
                                        {2, "2", 0, "b.exr"},
                                        {2, "0002", 1, "a.exr"},
                                        {{}, "1111111111111111", {}, ""},
                                        {{}, "00000000000000000", {}, ""}};
    std::vector<FrameFile> files(sorted.rbegin(), sorted.rend());
    std::sort(files.begin(), files.end());
    for (std::size_t i = 0; i < sorted.size(); ++i) EXPECT_EQ(files[i].text, sorted[i].text) << i;
}

}  // namespace
