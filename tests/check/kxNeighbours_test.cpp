// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxNeighbours.h"

#include <gtest/gtest.h>

using namespace kxCheck;

namespace {

FrameReport frame(std::optional<std::int64_t> number, std::optional<int> tile = {}) {
    FrameReport report;
    report.name.number = number;
    report.name.tile = tile;
    return report;
}

using Place = std::optional<std::size_t>;
using Places = std::pair<Place, Place>;

Places around(const std::vector<FrameReport>& frames, std::size_t place, std::int64_t step = 1) {
    const Neighbours neighbours(frames, step);
    return {neighbours.before(frames[place].name), neighbours.after(frames[place].name)};
}

constexpr auto none = std::nullopt;

}  // namespace

TEST(Neighbours, AreOneStepAway) {
    const std::vector<FrameReport> frames = {frame(-2), frame(0), frame(2), frame(3)};
    EXPECT_EQ(around(frames, 1, 2), Places(0, 2));
    EXPECT_EQ(around(frames, 2, 2), Places(1, none));
    EXPECT_EQ(around(frames, 2, 1), Places(none, 3));
    EXPECT_EQ(around(frames, 0, 2), Places(none, 1));
}

TEST(Neighbours, AreOfTheSameTile) {
    const std::vector<FrameReport> frames = {frame(1, 0), frame(1, 1), frame(2, 0), frame(2, 1), frame(3, 1)};
    EXPECT_EQ(around(frames, 2), Places(0, none));
    EXPECT_EQ(around(frames, 3), Places(1, 4));
}

TEST(Neighbours, AreTheFirstFilesOfTheirNumber) {
    const std::vector<FrameReport> frames = {frame(1), frame(1), frame(2), frame(2), frame(3), frame(3)};
    EXPECT_EQ(around(frames, 2), Places(0, 4));
    EXPECT_EQ(around(frames, 3), Places(0, 4));
    EXPECT_EQ(around(frames, 1), Places(none, 2));
}

TEST(Neighbours, AreNoneOfFilesWithoutNumber) {
    const std::vector<FrameReport> frames = {frame(0), frame(none), frame(1)};
    EXPECT_EQ(around(frames, 1), Places(none, none));
    EXPECT_EQ(around(frames, 0), Places(none, 2));
}

TEST(Neighbours, AroundAFrameAreThoseOneAndTwoStepsAway) {
    const std::vector<FrameReport> frames = {frame(1), frame(2), frame(3), frame(4), frame(5), frame(6), frame(8)};
    const Neighbours neighbours(frames, 1);
    using List = std::vector<std::size_t>;
    EXPECT_EQ(placesAround(frames, neighbours, 2), (List{1, 0, 3, 4}));
    EXPECT_EQ(placesAround(frames, neighbours, 0), (List{1, 2}));
    EXPECT_EQ(placesAround(frames, neighbours, 4), (List{3, 2, 5}));
    EXPECT_EQ(placesAround(frames, neighbours, 6), List());
}
