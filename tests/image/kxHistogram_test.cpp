// SPDX-License-Identifier: BSD-3-Clause
#include "image/kxHistogram.h"

#include "image/KX_DataTypes_image.h"
#include "tests/support/RenderedFrame.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <random>
#include <utility>

using kxCHK::_SingleImageData;
using kxP::_imgRGBABuffer8;

namespace {

TEST(CreateHistogram, CountsEachChannelInBinsOfEightValues) {
    RenderedFrame image(500, 400, {0, 0, 0, 0}, true);
    for (int i = 0; i < 200000; ++i) {
        const auto value = static_cast<unsigned char>(i % 256);
        image.write(i, {value, 7, 8, 255});
    }
    _SingleImageData record;
    record.createHistogram(&image);
    EXPECT_EQ(record.histogramValid, 1);
    EXPECT_EQ(record.histogram[1][0], 1000000U);
    EXPECT_EQ(record.histogram[2][1], 1000000U);
    EXPECT_EQ(record.histogram[3][31], 1000000U);
    // 200000 = 781 * 256 + 64: the first eight bins have eight pixels more.
    EXPECT_EQ(record.histogram[0][7], 782U * 8 * 5);
    EXPECT_EQ(record.histogram[0][8], 781U * 8 * 5);
}

TEST(CreateHistogram, ScalesFramesBelow100000PixelsByTenOnly) {
    const std::pair<int, unsigned> cases[] = {{1, 10},         {50000, 500000},   {99900, 999000},
                                              {99999, 999990}, {100000, 1000000}, {150000, 1000000}};
    for (const auto& [pixels, expected] : cases) {
        RenderedFrame image(pixels, 1, white, true);
        _SingleImageData record;
        record.createHistogram(&image);
        EXPECT_EQ(record.histogram[3][31], expected) << pixels;
        EXPECT_EQ(record.histogram[3][30], 0U);
    }
}

// 951 pixels of 100100 are 9500.4995 in a million; in single precision 9500.5, rounded up.
TEST(CreateHistogram, MultipliesInSinglePrecisionAndRoundsHalfUp) {
    RenderedFrame image(1001, 100, white, true);
    for (int i = 0; i < 951; ++i) image.write(i, black);
    _SingleImageData record;
    record.createHistogram(&image);
    EXPECT_EQ(record.histogram[0][0], 9501U);
    // Factor 2.5: one pixel makes 2.5.
    RenderedFrame half(1000, 400, white, true);
    half.write(0, black);
    record.createHistogram(&half);
    EXPECT_EQ(record.histogram[0][0], 3U);
}

TEST(CreateHistogram, WithoutPixelsZeroesTheBinsAndLeavesTheFlag) {
    _imgRGBABuffer8 empty(16);
    _imgRGBABuffer8* const images[] = {nullptr, &empty};
    for (const _imgRGBABuffer8* image : images) {
        for (unsigned char flag = 0; flag < 2; ++flag) {
            _SingleImageData record;
            std::memset(record.histogram, 0x55, sizeof record.histogram);
            record.histogramValid = flag;
            record.createHistogram(image);
            EXPECT_EQ(binsOf(record), PlainHistogram{});
            EXPECT_EQ(record.histogramValid, flag);
        }
    }
}

TEST(CreateHistogram, AgreesWithThePlainLoop) {
    std::mt19937 random(3587);
    for (int round = 0; round < 200; ++round) {
        const int width = static_cast<int>(random() % 60) + (round == 0 ? 400 : 1);
        const int height = static_cast<int>(random() % 60) + (round == 0 ? 300 : 1);
        RenderedFrame image(width, height, black, true);
        const unsigned mask = round % 3 == 0 ? 0xFFFFFFFFU : 0x07010F03U;
        for (int i = 0; i < width * height; ++i) {
            const unsigned value = static_cast<unsigned>(random()) & mask;
            std::memcpy(image.pixels + 4 * static_cast<std::size_t>(i), &value, 4);
        }
        _SingleImageData record;
        record.createHistogram(&image);
        EXPECT_EQ(binsOf(record), plainHistogram(plain(image))) << width << "x" << height;
    }
}

}  // namespace
