// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxFramePath.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <climits>

using namespace kxFrames;

namespace {

// "/r/ | beauty. | .exr", with the tile marker's kind behind it.
std::string text(const FramePath& path) {
    const char* const tile[] = {"", " plain", " separated"};
    return bytesOf(path.directory) + " | " + bytesOf(path.prefix) + " | " + bytesOf(path.suffix) +
           tile[static_cast<int>(path.tile)];
}

std::string text(const std::optional<FramePath>& path) {
    return path ? text(*path) : "nothing";
}

FramePath pathOf(const std::string& typed) {
    return splitFramePath(latin1(typed)).value_or(FramePath());
}

// "42 '0042'", with the tile behind the frame when there is one.
std::string frameText(const std::string& name, const std::string& typed) {
    const std::optional<FrameName> frame = frameOf(latin1(name), pathOf(typed));
    if (!frame) return "nothing";
    const std::string tile = frame->number.tile != 0 ? " tile " + std::to_string(frame->number.tile) : "";
    return std::to_string(frame->number.frame) + tile + " '" + bytesOf(frame->text) + "'";
}

TEST(FramePath, IsSplitAsTyped) {
    const struct {
        const char* path;
        const char* parts;
    } table[] = {
        {"/r/beauty.0042.exr", "/r/ | beauty. | .exr"},
        {"/r/beauty_0042_diffuse.exr", "/r/ | beauty_ | _diffuse.exr"},
        {"/r/beauty.0042_v2.exr", "/r/ | beauty.0042_v | .exr"},
        {"/r/beauty.####.exr", "/r/ | beauty. | .exr"},
        {"/r/a.**.exr", "/r/ | a. | .exr"},
        {"/r/*", "/r/ |  | "},
        {"/r/comp.exr", "/r/ | comp.exr | "},
        {"\\\\farm\\r\\b.1.exr", "//farm/r/ | b. | .exr"},
        {"/r/beauty_tile03_.0042.exr", "/r/ | beauty | .exr separated"},
        {"/r/beauty_tile03_0042.exr", "/r/ | beauty | .exr plain"},
        {"/r/beauty_TILE03_0042.exr", "/r/ | beauty_TILE03_ | .exr"},
        {"", "nothing"},
        {"b.0042.exr", "nothing"},
        {"/r/beauty", "nothing"},
    };
    for (const auto& row : table) EXPECT_EQ(text(splitFramePath(latin1(row.path))), row.parts) << row.path;
}

TEST(FramePath, OfAFoundNameTakesWildcardsAsTheyAre) {
    const struct {
        const char* name;
        const char* parts;
    } table[] = {
        {"b.0042.exr", "/r/ | b. | .exr"},
        {"b*.0042.exr", "/r/ | b*. | .exr"},
        {"b.#1.exr", "/r/ | b.# | .exr"},
        {"a\\b.1.exr", "/r/ | a\\b. | .exr"},
        {"b_tile07_.1.exr", "/r/ | b | .exr separated"},
        {"comp.exr", "/r/ | comp.exr | "},
        {"README", "nothing"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(text(splitFrameName(QStringLiteral("/r/"), latin1(row.name))), row.parts) << row.name;
    }
}

TEST(FramePath, LetterCaseDoesNotMakeAnotherSequence) {
    EXPECT_TRUE(isSameSequence(pathOf("/r/b.1.exr"), pathOf("/R/B.7.EXR")));
    EXPECT_FALSE(isSameSequence(pathOf("/r/b.1.exr"), pathOf("/s/b.1.exr")));
    EXPECT_FALSE(isSameSequence(pathOf("/r/b.1.exr"), pathOf("/r/c.1.exr")));
    EXPECT_FALSE(isSameSequence(pathOf("/r/b.1.exr"), pathOf("/r/b.1.tif")));
    EXPECT_FALSE(isSameSequence(pathOf("/r/b_tile00_1.exr"), pathOf("/r/b_tile00_.1.exr")));
}

TEST(FramePath, EveryNameSplitsIntoTheSequenceItBelongsTo) {
    for (const char* name :
         {"b.0042.exr", "b_0042_diffuse.exr", "b0.exr", "b_tile03_.0042.exr", "b_tile29_7.exr"}) {
        const std::optional<FramePath> path = splitFrameName(QStringLiteral("/r/"), latin1(name));
        ASSERT_TRUE(path) << name;
        const std::optional<FrameName> frame = frameOf(latin1(name), *path);
        ASSERT_TRUE(frame) << name;
        EXPECT_EQ(bytesOf(path->prefix + frame->text + path->suffix), name);
    }
}

TEST(FrameOf, TakesFilesOfTheSequenceInExactLetterCase) {
    const struct {
        const char* name;
        const char* typed;
        const char* frame;
    } table[] = {
        {"beauty.0042.exr", "/r/beauty.####.exr", "42 '0042'"},
        {"beauty.0042.exr", "/r/beauty*.exr", "42 '.0042'"},
        {"beauty_0042.exr", "/r/beauty*.exr", "42 '_0042'"},
        {"beauty0042.exr", "/r/beauty*.exr", "42 '0042'"},
        {"beauty.-5.exr", "/r/beauty.#.exr", "-5 '-5'"},
        {"b.9223372036854775807.exr", "/r/b.#.exr", "9223372036854775807 '9223372036854775807'"},
        {"b_tile03_.0042.exr", "/r/b_tile00_.#.exr", "42 tile 3 '_tile03_.0042'"},
        {"b_tile00_7.exr", "/r/b_tile00_#.exr", "7 '_tile00_7'"},
        {"b_tile29_.7.exr", "/r/b_tile00_#.exr", "7 tile 29 '_tile29_.7'"},
        {"b__tile01__7.exr", "/r/b__tile00_.#.exr", "7 tile 1 '_tile01__7'"},
        // Others.
        {"BEAUTY.0042.exr", "/r/beauty.####.exr", "nothing"},
        {"beauty.0042.EXR", "/r/beauty.####.exr", "nothing"},
        {"b_TILE03_.0042.exr", "/r/b_tile00_.#.exr", "nothing"},
        {"beauty..exr", "/r/beauty.####.exr", "nothing"},
        {"beauty.exr", "/r/beauty.####.exr", "nothing"},
        {"beauty.0042.exr.tmp", "/r/beauty.####.exr", "nothing"},
        {"beauty.1a.exr", "/r/beauty.####.exr", "nothing"},
        {"beauty.1.1.exr", "/r/beauty.####.exr", "nothing"},
        {"b.9223372036854775808.exr", "/r/b.#.exr", "nothing"},
        {"aba", "/r/ab*ba", "nothing"},
        {"b_tile30_.7.exr", "/r/b_tile00_.#.exr", "nothing"},
        {"b_tile03_7.exr", "/r/b_tile00_.#.exr", "nothing"},
        {"b_tile3_.7.exr", "/r/b_tile00_.#.exr", "nothing"},
        {"b_tile03.7.exr", "/r/b_tile00_.#.exr", "nothing"},
        {"b_tile03_.exr", "/r/b_tile00_.#.exr", "nothing"},
        {"b.0042.exr", "/r/b_tile00_.#.exr", "nothing"},
        {"comp.exr", "/r/comp.exr", "nothing"},
    };
    for (const auto& row : table)
        EXPECT_EQ(frameText(row.name, row.typed), row.frame) << row.name << " " << row.typed;
}

TEST(FrameNumber, KeyHoldsTheTileAndWraps) {
    EXPECT_EQ((FrameNumber{42, 0}.key()), 42);
    EXPECT_EQ((FrameNumber{42, 29}.key()), 290000042);
    EXPECT_EQ((FrameNumber{LLONG_MAX, 1}.key()), LLONG_MIN + 9999999);
}

}  // namespace
