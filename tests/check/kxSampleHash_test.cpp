// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPictureBuilder.h"
#include "tests/support/CheckedFile.h"
#include "tests/support/PaintedFrames.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <set>

using namespace kxCheck;

namespace {

using Hash = std::array<std::uint64_t, 2>;

Hash hashOf(const std::vector<PaintedPart>& parts) {
    PictureBuilder builder;
    EXPECT_TRUE(CheckedFile().check(paintedBytes(parts), Level::pixels, &builder).decoded);
    return builder.report().hash;
}

float shade(int x, int y, int i) {
    return static_cast<float>(x * 7 + y * 3 + i) / 512.0F;
}

// 70 rows are cut into chunks of 1, 16, 32 and 256 rows.
PaintedPart somePart() {
    return {{{"B", shade}, {"G", plainPaint(0.5F)}, {"R", shade}}, {{0, 0}, {44, 69}}};
}

PaintedPart deepPart() {
    PaintedPart part = somePart();
    part.compression = Imf::ZIPS_COMPRESSION;
    part.samples = [](int x, int y) { return (x + y) % 3; };
    return part;
}

}  // namespace

TEST(SampleHash, IsThatOfTheSamplesHoweverTheyAreStored) {
    PaintedPart part = somePart();
    const Hash hash = hashOf({part});
    for (const Imf::Compression compression : {Imf::NO_COMPRESSION, Imf::RLE_COMPRESSION, Imf::ZIPS_COMPRESSION,
                                               Imf::ZIP_COMPRESSION, Imf::PIZ_COMPRESSION}) {
        part.compression = compression;
        EXPECT_EQ(hashOf({part}), hash) << compression;
    }
    PaintedPart tiles = somePart();
    tiles.tileSize = 16;
    const Hash hashOfTiles = hashOf({tiles});
    tiles.compression = Imf::RLE_COMPRESSION;
    EXPECT_EQ(hashOf({tiles}), hashOfTiles);
    PaintedPart deep = deepPart();
    const Hash hashOfDeep = hashOf({deep});
    deep.compression = Imf::NO_COMPRESSION;
    EXPECT_EQ(hashOf({deep}), hashOfDeep);
}

TEST(SampleHash, DoesNotCountTheDisplayWindow) {
    PaintedPart part = somePart();
    part.display = {{5, 5}, {20, 20}};
    EXPECT_EQ(hashOf({part}), hashOf({somePart()}));
}

TEST(SampleHash, DiffersWithEverySampleNameTypeWindowAndPart) {
    std::vector<std::vector<PaintedPart>> files(12, {somePart()});
    files[1][0].channels[0].paint = [](int x, int y, int i) { return x == 44 && y == 69 ? 0.0F : shade(x, y, i); };
    files[2][0].channels[0].name = "C";
    files[3][0].channels[1].type = Imf::FLOAT;
    files[4][0].data = {{1, 0}, {45, 69}};
    files[5][0].data = {{0, 0}, {69, 44}};
    files[6][0].channels.pop_back();
    files[7].push_back(somePart());
    files[8] = {somePart(), somePart(), somePart()};
    files[9] = {deepPart()};
    files[10] = {deepPart()};
    files[10][0].samples = [](int x, int y) { return (x + y + 1) % 3; };
    files[11][0].channels[2].xSampling = 3;
    std::set<Hash> hashes;
    for (const auto& file : files) hashes.insert(hashOf(file));
    EXPECT_EQ(hashes.size(), files.size());
}

// The same samples in a row, in another pixel of it.
TEST(SampleHash, DiffersWhereDeepSamplesMove) {
    PaintedPart left{{{"R", plainPaint(1)}}, {{0, 0}, {1, 0}}};
    left.compression = Imf::NO_COMPRESSION;
    PaintedPart right = left;
    left.samples = [](int x, int) { return x == 0 ? 2 : 1; };
    right.samples = [](int x, int) { return x == 0 ? 1 : 2; };
    EXPECT_NE(hashOf({left}), hashOf({right}));
}

// Two names that run into each other are not two others.
TEST(SampleHash, KeepsNamesApart) {
    const PaintedPart first{{{"A", plainPaint(1)}, {"BC", plainPaint(1)}}};
    const PaintedPart second{{{"AB", plainPaint(1)}, {"C", plainPaint(1)}}};
    EXPECT_NE(hashOf({first}), hashOf({second}));
}
