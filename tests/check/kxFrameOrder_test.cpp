// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameOrder.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace kxCheck;

namespace {

using Places = std::vector<std::size_t>;

FrameReport file(std::int64_t size, std::int64_t modified) {
    FrameReport frame;
    frame.file.hasIdentity = true;
    frame.file.identity.size = size;
    frame.file.identity.modified = modified;
    return frame;
}

const std::vector<FrameReport> frames = {file(5, INT64_MAX), {}, file(0, 7), file(5, -3),
                                         file(2, INT64_MIN), {}, file(2, 7)};

}  // namespace

TEST(FrameOrder, IsByFrame) {
    EXPECT_EQ(frameOrder(frames, SortKey::frame, false), (Places{0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(frameOrder(frames, SortKey::frame, true), (Places{6, 5, 4, 3, 2, 1, 0}));
    EXPECT_EQ(frameOrder({}, SortKey::frame, false), Places{});
}

TEST(FrameOrder, PutsTheSmallestFileFirst) {
    EXPECT_EQ(frameOrder(frames, SortKey::size, false), (Places{2, 4, 6, 0, 3, 1, 5}));
    EXPECT_EQ(frameOrder(frames, SortKey::size, true), (Places{0, 3, 4, 6, 2, 1, 5}));
}

TEST(FrameOrder, PutsTheNewestFileFirst) {
    EXPECT_EQ(frameOrder(frames, SortKey::date, false), (Places{0, 2, 6, 3, 4, 1, 5}));
    EXPECT_EQ(frameOrder(frames, SortKey::date, true), (Places{4, 3, 2, 6, 0, 1, 5}));
}

TEST(FrameOrder, PutsFramesOfOneMachineTogether) {
    std::vector<FrameReport> made;
    for (const char* const machine : {"node12", "", "Node3", "node12", "node1"}) {
        made.push_back(file(1, 1));
        made.back().file.notes.infoText = machine;
    }
    EXPECT_EQ(frameOrder(made, SortKey::machine, false), (Places{2, 4, 0, 3, 1}));
    EXPECT_EQ(frameOrder(made, SortKey::machine, true), (Places{0, 3, 4, 2, 1}));
}

TEST(FrameOrder, PutsTheFrameThatDiffersMostFirst) {
    std::vector<FrameReport> others(6, file(1, 1));
    others[1].jump = 3;
    others[2].sizeJump = 5;
    others[2].jump = 1;
    others[3] = {};
    others[5].jump = 5;
    EXPECT_EQ(frameOrder(others, SortKey::difference, false), (Places{2, 5, 1, 0, 4, 3}));
    EXPECT_EQ(frameOrder(others, SortKey::difference, true), (Places{0, 4, 1, 2, 5, 3}));
}
