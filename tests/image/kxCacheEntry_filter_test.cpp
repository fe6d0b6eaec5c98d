// SPDX-License-Identifier: BSD-3-Clause
#include "image/KX_DataTypes_image.h"
#include "tests/support/plainCheck.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using kxCHK::decodePredictionFilter;
using kxCHK::encodePredictionFilter;
using kxCHK::paethPredictor;
using kxP::_imgRGBABuffer8;

namespace {

struct Frame : _imgRGBABuffer8 {
    Frame(int w, int h) : _imgRGBABuffer8(static_cast<unsigned>(w) * static_cast<unsigned>(h)) {
        setWidth(w);
        setHeight(h);
    }
    std::size_t size() const { return 4 * static_cast<std::size_t>(capacity); }
    std::string bytes() const { return std::string(reinterpret_cast<const char*>(pixels), size()); }
    void setBytes(const std::string& source) { std::memcpy(pixels, source.data(), size()); }
    PlainImage plain() const { return {pixels, width, height, true}; }
};

// One value a row, the same in all four channels.
std::vector<int> column(const Frame& image) {
    std::vector<int> values;
    for (std::size_t i = 0; i < image.size(); i += 4) values.push_back(image.pixels[i]);
    return values;
}

void setColumn(Frame& image, const std::vector<int>& values) {
    for (std::size_t y = 0; y < values.size(); ++y) std::memset(image.pixels + 4 * y, values[y], 4);
}

struct ColumnCase {
    std::vector<int> values;
    std::vector<int> encoded;
    std::vector<int> decoded;
};

void fillRandomly(Frame& image, std::mt19937& random, unsigned spread) {
    for (std::size_t i = 0; i < image.size(); ++i) {
        image.pixels[i] = static_cast<unsigned char>(256 - spread + random() % spread);
    }
}

}  // namespace

// --- Paeth -----------------------------------------------------------------------------------------------------

TEST(PaethPredictor, TakesTheNearestNeighbourLeftFirst) {
    const struct {
        int a, b, c, expected;
    } cases[] = {
        {10, 20, 15, 15},       {10, 20, 10, 20}, {10, 20, 30, 10},  // p 15, 20, 0
        {0, 0, 0, 0},           {9, 9, 9, 9},     {10, 14, 12, 12},  // p 12 is c itself
        {20, 20, 30, 20},                                            // p 10: all but c are as near
        {1, 3, 5, 1},                                                // p -1
        {5, 4, 0, 5},                                                // p 9
        {10, 20, 16, 10 + 6},                                        // p 14: pa 4, pb 6, pc 2
        {20, 20, 10, 20},                                            // p 30: pa and pb tie
        {10, 4, 8, 4},                                               // p 6: pb and pc tie at 2
        {4, 10, 8, 4},                                               // p 6: pa and pc tie at 2
        {300, 0, 0, 300 - 256},                                      // cut to 8 bits
        {-1, 0, 0, 255},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(paethPredictor(row.a, row.b, row.c), row.expected) << row.a << " " << row.b << " " << row.c;
    }
}

TEST(PaethPredictor, DoesNotOverflow) {
    EXPECT_EQ(paethPredictor(INT_MAX, INT_MAX, INT_MIN), 255);
    EXPECT_EQ(paethPredictor(INT_MIN, INT_MIN, INT_MAX), 0);
}

// --- Filter ----------------------------------------------------------------------------------------------------

TEST(PredictionFilter, EncodesColumnsFromBelowWithACarry) {
    const ColumnCase cases[] = {
        {{0, 10, 21, 30}, {0, 10, 12, 8}, {0, 10, 22, 30}},
        // Rows 1 and 2 are never lowered.
        {{0, 11, 22}, {0, 11, 11}, {0, 11, 22}},
        // A falling value is not lowered: its residual and the value above make more than 255.
        {{9, 8, 7, 2}, {9, 255, 255, 251}, {9, 8, 7, 2}},
        // Up to 254 is lowered, 255 is not.
        {{0, 0, 1, 254}, {0, 0, 2, 252}, {0, 0, 2, 254}},
        {{0, 0, 0, 255}, {0, 0, 0, 255}, {0, 0, 0, 255}},
        // A residual that takes the carry is not lowered, odd or even.
        {{0, 0, 0, 0, 2, 9}, {0, 0, 0, 0, 3, 6}, {0, 0, 0, 0, 3, 9}},
        {{0, 0, 0, 0, 3, 10}, {0, 0, 0, 0, 4, 6}, {0, 0, 0, 0, 4, 10}},
        // The carry wraps: residual 255 becomes 0.
        {{0, 0, 9, 8, 9}, {0, 0, 9, 0, 0}, {0, 0, 9, 9, 9}},
        {{7}, {7}, {7}},
        {{7, 9}, {7, 2}, {7, 9}},
    };
    for (const ColumnCase& row : cases) {
        Frame image(1, static_cast<int>(row.values.size()));
        setColumn(image, row.values);
        encodePredictionFilter(&image);
        EXPECT_EQ(column(image), row.encoded);
        decodePredictionFilter(&image);
        EXPECT_EQ(column(image), row.decoded);
    }
}

TEST(PredictionFilter, GivesConstantColumnsBackExactly) {
    Frame image(64, 50);
    for (std::size_t i = 0; i < image.size(); ++i) image.pixels[i] = static_cast<unsigned char>(i % 256);
    const std::string before = image.bytes();
    encodePredictionFilter(&image);
    EXPECT_EQ(image.bytes(), before.substr(0, 256) + std::string(before.size() - 256, '\0'));
    decodePredictionFilter(&image);
    EXPECT_EQ(image.bytes(), before);
}

TEST(PredictionFilter, LeavesAnImageOfOneRowAlone) {
    std::mt19937 random(1);
    Frame image(200, 1);
    fillRandomly(image, random, 256);
    const std::string before = image.bytes();
    encodePredictionFilter(&image);
    EXPECT_EQ(image.bytes(), before);
    decodePredictionFilter(&image);
    EXPECT_EQ(image.bytes(), before);
}

TEST(PredictionFilter, KeepsChannelsAndColumnsApart) {
    // Only blue in the right one of two columns has odd differences: 0, 5, 10, 15.
    Frame image(2, 4);
    for (int y = 0; y < 4; ++y) image.write(1, y, {0, 0, static_cast<unsigned char>(5 * y), 0});
    encodePredictionFilter(&image);
    std::string expected(32, '\0');
    expected[1 * 8 + 6] = 5;
    expected[2 * 8 + 6] = 6;
    expected[3 * 8 + 6] = 4;
    EXPECT_EQ(image.bytes(), expected);
}

// Wider than the blocks that are encoded together, too.
TEST(PredictionFilter, AgreesWithThePlainColumnOrder) {
    std::mt19937 random(3);
    for (const int width : {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 13, 63, 64, 1023, 1024, 1025, 2500}) {
        for (int height = 1; height <= 13; ++height) {
            Frame image(width, height);
            Frame expected(width, height);
            fillRandomly(image, random, height % 2 ? 256 : 4);
            expected.setBytes(image.bytes());
            encodePredictionFilter(&image);
            plainEncode(expected.plain());
            ASSERT_EQ(image.bytes(), expected.bytes()) << width << "x" << height;
            decodePredictionFilter(&image);
            plainDecode(expected.plain());
            ASSERT_EQ(image.bytes(), expected.bytes()) << width << "x" << height;
        }
    }
}

TEST(PredictionFilter, LosesAtMostOneAndOnlyFromRowTwoOn) {
    constexpr int width = 37;
    constexpr int height = 29;
    std::mt19937 random(4);
    int raised = 0;
    for (int round = 0; round < 50; ++round) {
        Frame image(width, height);
        fillRandomly(image, random, round % 2 ? 256 : 8);
        const std::string before = image.bytes();
        encodePredictionFilter(&image);
        decodePredictionFilter(&image);
        for (std::size_t i = 0; i < before.size(); ++i) {
            const int difference = image.pixels[i] - static_cast<unsigned char>(before[i]);
            const std::size_t row = i / (4 * static_cast<std::size_t>(width));
            const bool mayRise = row >= 2 && row < height - 1;
            ASSERT_TRUE(difference == 0 || (difference == 1 && mayRise)) << difference << " in row " << row;
            raised += difference;
        }
    }
    EXPECT_GT(raised, 1000);
}

TEST(PredictionFilter, StaysInBoundsWhateverTheSizesSay) {
    Frame image(100, 100);
    const int extents[] = {INT_MIN, -1, 0, 1, 2, 99, 100, 101, 5000, 10000, 70000, INT_MAX};
    for (const int width : extents) {
        for (const int height : extents) {
            image.width = width;
            image.height = height;
            image.pixelCount = 0xFFFFFFFFU;
            encodePredictionFilter(&image);
            decodePredictionFilter(&image);
        }
    }
    EXPECT_EQ(image.bytes(), std::string(40000, '\0'));
}
