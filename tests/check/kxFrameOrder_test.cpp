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
