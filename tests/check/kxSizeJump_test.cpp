// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxSizeJump.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kxCheck;

namespace {

FrameReport frame(std::optional<std::int64_t> number, std::int64_t size, std::optional<int> tile = {}) {
    FrameReport report;
    report.name.number = number;
    report.name.tile = tile;
    report.file.hasIdentity = size >= 0;
    report.file.identity.size = size;
    return report;
}

double jumpAt(const std::vector<FrameReport>& frames, std::size_t place, std::int64_t step = 1) {
    return sizeJumpOf(frames, Neighbours(frames, step), place).value;
}

}  // namespace

TEST(SizeJump, IsTheNearerNeighbourByTheDistanceOfBoth) {
    // ln 1000 - ln 500 is 0.693; the neighbours are alike.
    EXPECT_NEAR(sizeJumpOf(1000, 500, 1000), std::log(2.0) / 0.1, 1e-12);
    EXPECT_NEAR(sizeJumpOf(1000, 2000, 1000), std::log(2.0) / 0.1, 1e-12);
    EXPECT_NEAR(sizeJumpOf(1000, 500, 2000), std::log(2.0) / (std::log(2.0) + 0.1), 1e-12);
    EXPECT_NEAR(sizeJumpOf(1000, 4000, 2000), std::log(2.0) / (std::log(2.0) + 0.1), 1e-12);
    EXPECT_EQ(sizeJumpOf(1000, 1000, 9), 0);
    EXPECT_EQ(sizeJumpOf(9, 1000, 1000), 0);
}

TEST(SizeJump, CountsAnEmptyFileAsOneByte) {
    EXPECT_EQ(sizeJumpOf(1000, 0, 1000), sizeJumpOf(1000, 1, 1000));
    EXPECT_EQ(sizeJumpOf(0, 1000, 1), std::log(1000.0) / 0.1);
    EXPECT_EQ(sizeJumpOf(0, 0, 0), 0);
}

TEST(SizeJump, StaysFiniteForTheGreatestSizes) {
    const std::int64_t greatest = INT64_MAX;
    EXPECT_NEAR(sizeJumpOf(0, greatest, 0), std::log(9223372036854775807.0) / 0.1, 1e-9);
}

TEST(SizeJump, TakesNeighboursOneStepAway) {
    std::vector<FrameReport> frames = {frame(1, 100), frame(3, 900), frame(5, 100), frame(6, 900), frame(7, 100)};
    EXPECT_GT(jumpAt(frames, 1, 2), 2);
    EXPECT_EQ(jumpAt(frames, 1, 1), 0);
    EXPECT_GT(jumpAt(frames, 3, 1), 2);
    EXPECT_EQ(jumpAt(frames, 3, 2), 0);
    EXPECT_EQ(jumpAt(frames, 0, 2), 0);
    EXPECT_EQ(jumpAt(frames, 4, 2), 0);
}

TEST(SizeJump, StaysWithinTheTile) {
    const std::vector<FrameReport> frames = {frame(1, 100, 0), frame(2, 100, 0), frame(3, 100, 0),
                                             frame(1, 900, 1), frame(2, 900, 1), frame(3, 900, 1)};
    for (std::size_t i = 0; i < frames.size(); ++i) EXPECT_EQ(jumpAt(frames, i), 0) << i;
    const std::vector<FrameReport> mixed = {frame(1, 100, 0), frame(2, 900, 1), frame(3, 100, 0)};
    EXPECT_EQ(jumpAt(mixed, 1), 0);
}

TEST(SizeJump, NeedsThreeFilesThatAreThere) {
    for (std::size_t absent = 0; absent < 3; ++absent) {
        std::vector<FrameReport> frames = {frame(-1, 100), frame(0, 900), frame(1, 100)};
        EXPECT_GT(jumpAt(frames, 1), 2);
        frames[absent] = frame(frames[absent].name.number, -1);
        EXPECT_EQ(jumpAt(frames, 1), 0) << absent;
    }
    EXPECT_EQ(jumpAt({frame({}, 100)}, 0), 0);
}

TEST(SizeJump, TakesTheFirstOfFilesOfOneFrameNumber) {
    const std::vector<FrameReport> frames = {frame(1, 100), frame(1, 900), frame(2, 900), frame(3, 100),
                                             frame(3, 900)};
    EXPECT_GT(jumpAt(frames, 2), 2);
}

TEST(SizeJump, SaysTheSizesWhereItIsConspicuous) {
    const std::vector<FrameReport> frames = {frame(1, 1000), frame(2, 12), frame(3, 1010), frame(4, 1020)};
    const Neighbours neighbours(frames, 1);
    EXPECT_EQ(sizeJumpOf(frames, neighbours, 1).text, "12 bytes, before and after it 1000 and 1010");
    EXPECT_EQ(sizeJumpOf(frames, neighbours, 2).text, "");
    EXPECT_TRUE(sizeJumpOf(frames, neighbours, 2).isCompared);
    EXPECT_FALSE(sizeJumpOf(frames, neighbours, 3).isCompared);
}
