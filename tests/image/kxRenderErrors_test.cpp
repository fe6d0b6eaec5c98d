// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxRenderErrors.h"

#include "image/KX_DataTypes_image.h"
#include "tests/support/RecordBytes.h"
#include "tests/support/RenderedFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <string>
#include <utility>
#include <vector>

using kxCHK::_SingleImageData;
using kxCHK::doErrorSearch;
using kxP::_imgRGBABuffer8;

namespace {

// Error bits of a frame, with what the record must say about them.
unsigned short search(_imgRGBABuffer8& image) {
    _SingleImageData record;
    const unsigned short bits = doErrorSearch(image, &record);
    EXPECT_EQ(record.errorFlags, bits);
    EXPECT_EQ(record.errorLevel, bits & 1 ? 3 : bits & 2 ? 2 : 0);
    return bits;
}

// Wide enough for the alpha search: its pixels make a million in the histogram.
constexpr int wide = 400;
constexpr int high = 300;

}  // namespace

// --- Missing tiles ---------------------------------------------------------------------------------------------

TEST(MissingTile, IsFoundInsideTheMarginsOnly) {
    constexpr int size = 40;
    for (int top = 0; top <= size - 8; ++top) {
        for (int left = 0; left <= size - 8; ++left) {
            RenderedFrame image(size, size, white, false);
            image.square(left, top, 8, black);
            const bool inside = left >= 2 && top >= 2 && left < size - 10 && top < size - 10;
            ASSERT_EQ(search(image), inside ? 1 : 0) << left << "," << top;
        }
    }
}

TEST(MissingTile, TouchingTheTopRowOrTheOneBelowIsNotFound) {
    for (const int top : {0, 1}) {
        RenderedFrame image(60, 60, white, false);
        image.square(20, top, 8, black);
        EXPECT_EQ(search(image), 0) << top;
    }
}

TEST(MissingTile, IsLookedForInAlphaOnAValidImage) {
    RenderedFrame opaque(60, 60, white, true);
    opaque.square(20, 20, 8, black);
    EXPECT_EQ(search(opaque), 0) << "alpha is 255 everywhere";
    RenderedFrame holed(60, 60, {0, 0, 0, 255}, true);
    holed.square(20, 20, 8, {0, 0, 0, 0});
    EXPECT_EQ(search(holed), 1);
}

TEST(MissingTile, IsLookedForInGreenOnAnInvalidImage) {
    RenderedFrame red(60, 60, white, false);
    red.square(20, 20, 8, {0, 255, 0, 0});
    EXPECT_EQ(search(red), 0);
    RenderedFrame green(60, 60, white, false);
    green.square(20, 20, 8, {255, 0, 255, 255});
    EXPECT_EQ(search(green), 1);
}

// Every pixel that the search looks at, spoiled one at a time.
TEST(MissingTile, NeedsAWholeDarkCornerAndAWholeBrightBorder) {
    constexpr int left = 5;
    constexpr int top = 6;
    for (int y = top - 2; y < top + 10; ++y) {
        for (int x = left - 2; x < left + 10; ++x) {
            const bool inBlock = x >= left && x < left + 8 && y >= top && y < top + 8;
            const bool onDarkSide = inBlock && (x == left || y == top);
            const bool onBorder =
                (y == top - 1 && x >= left && x < left + 8) || (x == left - 1 && y >= top && y < top + 8);
            RenderedFrame image(30, 30, white, false);
            image.square(left, top, 8, black);
            image.write(x, y, inBlock ? _Rgba8{0, 1, 0, 0} : _Rgba8{127, 127, 127, 127});
            EXPECT_EQ(search(image), onDarkSide || onBorder ? 0 : 1) << x << "," << y;
        }
    }
}

TEST(MissingTile, TakesABorderOf128AsBright) {
    RenderedFrame image(30, 30, {128, 128, 128, 128}, false);
    image.square(5, 5, 8, black);
    EXPECT_EQ(search(image), 1);
}

TEST(MissingTile, NeedsThirteenPixelsInBothAxes) {
    for (int height = 1; height <= 15; ++height) {
        for (int width = 1; width <= 15; ++width) {
            RenderedFrame image(width, height, white, false);
            image.square(2, 2, 8, black);
            EXPECT_EQ(search(image), width >= 13 && height >= 13 ? 1 : 0) << width << "x" << height;
        }
    }
}

TEST(MissingTile, RaisesTheLevelToThree) {
    RenderedFrame image(60, 60, white, false);
    image.square(30, 30, 8, black);
    _SingleImageData record;
    EXPECT_EQ(doErrorSearch(image, &record), 1);
    EXPECT_EQ(record.errorLevel, 3);
}

// --- Alpha holes -----------------------------------------------------------------------------------------------

TEST(AlphaHole, IsATransparentPixelInOpaqueSurroundings) {
    const struct {
        _Rgba8 pixel;
        int bits;
    } cases[] = {{{0, 50, 0, 200}, 2}, {{0, 10, 0, 200}, 0}, {{0, 11, 0, 200}, 2},
                 {{0, 50, 0, 254}, 2}, {{0, 50, 0, 255}, 0}, {{0, 11, 0, 0}, 2}};
    for (const auto& row : cases) {
        RenderedFrame image(wide, high, white, true);
        image.write(200, 150, row.pixel);
        EXPECT_EQ(search(image), row.bits) << +row.pixel.g << " " << +row.pixel.a;
    }
}

TEST(AlphaHole, NeedsAllFourNeighboursOpaque) {
    const std::pair<int, int> neighbours[] = {{-1, 0}, {1, 0}, {0, -1}, {0, 1}};
    for (const auto& [dx, dy] : neighbours) {
        RenderedFrame image(wide, high, white, true);
        image.write(200, 150, {255, 255, 255, 200});
        image.write(200 + dx, 150 + dy, {255, 5, 255, 254});
        EXPECT_EQ(search(image), 0) << dx << "," << dy;
        // Diagonal neighbours do not matter.
        image.write(200 + dx, 150 + dy, white);
        image.write(200 + dx + dy, 150 + dy + dx, {255, 5, 255, 254});
        EXPECT_EQ(search(image), 2);
    }
}

TEST(AlphaHole, OnTheImagesEdgeIsNotFound) {
    const struct {
        int x, y, bits;
    } cases[] = {{0, 50, 0}, {wide - 1, 50, 0}, {50, 0, 0},       {50, high - 1, 0},
                 {1, 1, 2},  {wide - 2, 1, 2},  {1, high - 2, 2}, {wide - 2, high - 2, 2}};
    for (const auto& row : cases) {
        RenderedFrame image(wide, high, white, true);
        image.write(row.x, row.y, {255, 255, 255, 200});
        EXPECT_EQ(search(image), row.bits) << row.x << "," << row.y;
    }
}

TEST(AlphaHole, IsLookedForInValidImagesOnly) {
    RenderedFrame image(wide, high, white, false);
    image.write(200, 150, {255, 255, 255, 200});
    EXPECT_EQ(search(image), 0);
    image.valid = 1;
    EXPECT_EQ(search(image), 2);
}

// 119880 of 120000 pixels make 999000 of a million.
TEST(AlphaHole, IsLookedForWhenTheTopAlphaBinHoldsMoreThan999PerMille) {
    for (const int transparent : {119, 120}) {
        RenderedFrame image(wide, high, white, true);
        for (int i = 0; i < transparent; ++i) image.write(2 * (i % 60) + 100, 2 * (i / 60) + 10, {9, 99, 9, 9});
        EXPECT_EQ(search(image), transparent == 119 ? 2 : 0) << transparent;
    }
}

TEST(AlphaHole, IsNeverLookedForInFramesOf99900PixelsOrFewer) {
    for (const int height : {333, 334}) {
        RenderedFrame image(300, height, white, true);
        image.write(20, 20, {255, 255, 255, 250});
        EXPECT_EQ(search(image), height == 333 ? 0 : 2) << height;
    }
}

TEST(AlphaHole, NeedsThreePixelsInBothAxes) {
    const struct {
        int width, height, bits;
    } cases[] = {{60000, 2, 0}, {60000, 3, 2}, {2, 60000, 0}, {3, 60000, 2}, {1, 120000, 0}, {120000, 1, 0}};
    for (const auto& row : cases) {
        RenderedFrame image(row.width, row.height, white, true);
        image.write(1, 1, {255, 255, 255, 250});
        EXPECT_EQ(search(image), row.bits) << row.width << "x" << row.height;
    }
}

// --- Both ------------------------------------------------------------------------------------------------------

TEST(DoErrorSearch, WithoutRecordReturnsTheTileBitOnlyAndChangesNothing) {
    RenderedFrame image(wide, high, white, true);
    image.write(300, 150, {255, 255, 255, 200});
    const std::string before = pixelsOf(image);
    EXPECT_EQ(doErrorSearch(image, nullptr), 0);
    image.square(30, 30, 8, {0, 0, 0, 0});
    EXPECT_EQ(doErrorSearch(image, nullptr), 1);
    image.square(30, 30, 8, white);
    EXPECT_EQ(pixelsOf(image), before);
}

TEST(DoErrorSearch, StoresBothBitsAndTheHistogram) {
    RenderedFrame image(wide, high, white, true);
    image.write(300, 150, {255, 255, 255, 200});
    image.square(30, 30, 8, {0, 0, 0, 0});
    _SingleImageData record;
    record.errorFlags = 0xFFFF;
    EXPECT_EQ(doErrorSearch(image, &record), 3);
    EXPECT_EQ(record.errorFlags, 3);
    EXPECT_EQ(record.errorLevel, 3);
    EXPECT_EQ(record.histogramValid, 1);
    EXPECT_EQ(binsOf(record), plainHistogram(plain(image)));
}

TEST(DoErrorSearch, TakesTheRecordsMeasuresIntoTheLevel) {
    RenderedFrame image(20, 20, white, true);
    const std::pair<float, int> cases[] = {{0.0F, 0}, {2.5F, 1}, {4.5F, 2}};
    for (const auto& [value, level] : cases) {
        _SingleImageData record;
        record.analyseValue2 = value;
        EXPECT_EQ(doErrorSearch(image, &record), 0);
        EXPECT_EQ(record.errorLevel, level);
    }
}

TEST(DoErrorSearch, TakesAnEmptyImageAsClean) {
    _imgRGBABuffer8 image(0);
    image.valid = 1;
    EXPECT_EQ(search(image), 0);
}

// Sizes that no setter would leave, as a damaged file might bring them.
TEST(DoErrorSearch, StaysInBoundsWhateverTheSizesSay) {
    RenderedFrame image(100, 100, white, true);
    const int extents[] = {INT_MIN, -1, 0, 1, 3, 13, 100, 101, 9999, 10000, 70000, INT_MAX};
    for (const int width : extents) {
        for (const int height : extents) {
            for (const unsigned count : {0U, 10000U, 0xFFFFFFFFU}) {
                image.width = width;
                image.height = height;
                image.pixelCount = count;
                EXPECT_EQ(search(image), 0);
            }
        }
    }
}

namespace {

// A whole number from 0 to limit - 1.
int below(int limit, std::mt19937& random) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
}

}  // namespace

// Random noise never holds a tile: noise of few values, with blocks and holes stamped in, does now and then.
TEST(DoErrorSearch, AgreesWithThePlainColumnOrder) {
    std::mt19937 random(622);
    const unsigned char values[] = {0, 0, 127, 128, 255, 255};
    int found[4] = {};
    for (int round = 0; round < 2000; ++round) {
        RenderedFrame image(below(50, random) + 1, below(50, random) + 1, white, below(2, random) == 0);
        if (round % 3 == 0) {
            for (unsigned i = 0; i < image.pixelCount * 4; ++i) image.pixels[i] = values[below(6, random)];
        }
        for (int i = below(4, random); i > 0; --i) {
            image.square(below(50, random), below(50, random), 7 + below(3, random), {0, 0, 0, 0});
        }
        for (int i = below(3, random); i > 0; --i) {
            image.write(below(50, random), below(50, random), {128, 128, 128, 127});
        }
        const unsigned short bits = search(image);
        ASSERT_EQ(bits, plainErrorBits(plain(image))) << image.width << "x" << image.height << ", round " << round;
        ++found[bits];
    }
    EXPECT_GT(found[0], 50);
    EXPECT_GT(found[1], 50);
}

TEST(DoErrorSearch, AgreesWithThePlainColumnOrderOnOpaqueFrames) {
    std::mt19937 random(700);
    int found[4] = {};
    RenderedFrame image(wide, high, white, true);
    for (int round = 0; round < 60; ++round) {
        fillWith(image, white);
        for (int i = below(4, random); i > 0; --i) {
            const auto green = static_cast<unsigned char>(below(22, random));
            const auto alpha = static_cast<unsigned char>(253 + below(3, random));
            image.square(below(wide, random), below(high, random), 1, {9, green, 9, alpha});
        }
        if (below(3, random) == 0) image.square(below(wide, random), below(high, random), 8, {0, 0, 0, 0});
        const unsigned short bits = search(image);
        ASSERT_EQ(bits, plainErrorBits(plain(image))) << "round " << round;
        ++found[bits];
    }
    for (const int count : found) EXPECT_GT(count, 2);
}

// --- Without a record ------------------------------------------------------------------------------------------

TEST(RenderErrors, AreFoundInThePixelsAlone) {
    RenderedFrame frame(wide, high, white, true);
    EXPECT_FALSE(kxCHK::hasMissingTile(frame));
    EXPECT_FALSE(kxCHK::hasMissingAlpha(frame));
    EXPECT_TRUE(kxCHK::isPracticallyOpaque(kxCHK::histogramOf(frame)));
    frame.write(7, 7, {255, 50, 255, 200});
    EXPECT_TRUE(kxCHK::hasMissingAlpha(frame));
    frame.square(20, 20, 8, {0, 0, 0, 0});
    EXPECT_TRUE(kxCHK::hasMissingTile(frame));
    frame.square(100, 100, 20, {0, 0, 0, 0});
    EXPECT_FALSE(kxCHK::isPracticallyOpaque(kxCHK::histogramOf(frame)));
}

// Larger than any thumbnail.
TEST(RenderErrors, AreFoundInPicturesOfAnySize) {
    RenderedFrame frame(1920, 1080, white, true);
    const kxCHK::Histogram histogram = kxCHK::histogramOf(frame);
    for (const auto& channel : histogram) EXPECT_EQ(channel[31], 1000000U);
    frame.square(1900, 1060, 8, {0, 0, 0, 0});
    EXPECT_TRUE(kxCHK::hasMissingTile(frame));
}

TEST(RenderErrors, AreNoneInAnEmptyPicture) {
    const _imgRGBABuffer8 empty(0U);
    EXPECT_FALSE(kxCHK::hasMissingTile(empty));
    EXPECT_FALSE(kxCHK::hasMissingAlpha(empty));
    EXPECT_EQ(kxCHK::histogramOf(empty), kxCHK::Histogram{});
}
