// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxPictureJump.h"

#include <gtest/gtest.h>

#include <random>

using namespace kxCheck;
using kxCHK::Histogram;

namespace {

constexpr unsigned million = 1000000;

// All pixels have this bin in r, g and b.
Histogram allIn(std::size_t bin) {
    Histogram histogram{};
    for (auto& channel : histogram) channel[bin] = million;
    return histogram;
}

Histogram noPixels() {
    return Histogram{};
}

Histogram randomHistogram(std::mt19937& random) {
    Histogram histogram{};
    for (auto& channel : histogram)
        for (unsigned& bin : channel) bin = static_cast<unsigned>(random() % 60000);
    return histogram;
}

}  // namespace

TEST(HistogramDistance, IsHowFarValuesHaveToBeMovedInBins) {
    EXPECT_EQ(histogramDistance(allIn(4), allIn(4)), 0);
    EXPECT_EQ(histogramDistance(allIn(4), allIn(5)), 1);
    EXPECT_EQ(histogramDistance(allIn(5), allIn(4)), 1);
    EXPECT_EQ(histogramDistance(allIn(0), allIn(31)), 31);
    Histogram half = allIn(4);
    for (auto& channel : half) channel[4] = channel[6] = million / 2;
    EXPECT_EQ(histogramDistance(allIn(4), half), 1);
}

TEST(HistogramDistance, IsTheMeanOfRedGreenAndBlue) {
    for (std::size_t color = 0; color < 3; ++color) {
        Histogram other = allIn(4);
        other[color] = allIn(10)[color];
        EXPECT_EQ(histogramDistance(allIn(4), other), 2) << color;
    }
    Histogram transparent = allIn(4);
    transparent[3] = allIn(31)[3];
    EXPECT_EQ(histogramDistance(allIn(4), transparent), 0) << "alpha is not looked at";
}

TEST(HistogramDistance, DoesNotDependOnTheNumberOfPixels) {
    Histogram small = allIn(7);
    for (auto& channel : small) channel[7] = 10;
    EXPECT_EQ(histogramDistance(small, allIn(9)), 2);
}

TEST(HistogramDistance, IsNothingWithoutPixels) {
    EXPECT_EQ(histogramDistance(noPixels(), allIn(9)), 0);
    EXPECT_EQ(histogramDistance(allIn(9), noPixels()), 0);
    EXPECT_EQ(histogramDistance(noPixels(), noPixels()), 0);
}

TEST(HistogramDistance, IsADistance) {
    std::mt19937 random(5);
    for (int i = 0; i < 500; ++i) {
        const Histogram a = randomHistogram(random);
        const Histogram b = randomHistogram(random);
        const Histogram c = randomHistogram(random);
        EXPECT_NEAR(histogramDistance(a, b), histogramDistance(b, a), 1e-12);
        EXPECT_LE(histogramDistance(a, c), histogramDistance(a, b) + histogramDistance(b, c) + 1e-12);
        EXPECT_EQ(histogramDistance(a, a), 0);
    }
}

TEST(PictureJump, IsTheNearerNeighbourByTheDistanceOfBoth) {
    EXPECT_DOUBLE_EQ(pictureJumpOf(allIn(4), allIn(6), allIn(4)), 2 / 0.1);
    EXPECT_DOUBLE_EQ(pictureJumpOf(allIn(4), allIn(8), allIn(5)), 3 / 1.1);
    EXPECT_DOUBLE_EQ(pictureJumpOf(allIn(5), allIn(8), allIn(4)), 3 / 1.1);
    EXPECT_EQ(pictureJumpOf(allIn(4), allIn(4), allIn(20)), 0) << "a cut behind it";
    EXPECT_EQ(pictureJumpOf(allIn(20), allIn(4), allIn(4)), 0) << "a cut before it";
    EXPECT_EQ(pictureJumpOf(allIn(4), allIn(4), allIn(4)), 0);
    EXPECT_LT(pictureJumpOf(allIn(4), allIn(5), allIn(6)), 1) << "a fade";
}

TEST(PictureJump, IsFiniteWhateverThePicturesAre) {
    EXPECT_DOUBLE_EQ(pictureJumpOf(allIn(0), allIn(31), allIn(0)), 310);
    EXPECT_EQ(pictureJumpOf(noPixels(), allIn(9), noPixels()), 0);
}

TEST(StandsOut, FromBothNeighboursByMoreThanTheFramesAroundItDiffer) {
    const Histogram around[] = {allIn(4), allIn(5), allIn(6)};
    EXPECT_TRUE(standsOut(allIn(6), {&around[0], &around[0]})) << "one bin beyond the first border";
    EXPECT_FALSE(standsOut(allIn(9), {&around[0], &around[1]})) << "3 are less than 6 times 1 and 0.4";
    EXPECT_TRUE(standsOut(allIn(13), {&around[0], &around[1]})) << "7 are more";
    EXPECT_FALSE(standsOut(allIn(13), {&around[0], &around[0], &around[1], &around[2]}))
        << "but not than 6 times 2";
    EXPECT_TRUE(standsOut(allIn(20), {&around[0], &around[0], &around[1], &around[2]}));
}

// In each of r, g and b by itself: they need not go over at the same border.
TEST(StandsOut, NotByWhatGoesOverOneBorderOfBins) {
    const Histogram usual = allIn(4);
    Histogram other = allIn(5);
    other[1] = allIn(3)[1];
    EXPECT_FALSE(standsOut(other, {&usual, &usual}));
    other[2] = allIn(6)[2];
    EXPECT_FALSE(standsOut(other, {&usual, &usual})) << "a third of a bin is too little";
    other[1] = allIn(2)[1];
    EXPECT_TRUE(standsOut(other, {&usual, &usual})) << "two thirds";
}
