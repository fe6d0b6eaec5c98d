// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxWaitingPreviews.h"

#include <gtest/gtest.h>

using namespace kxCheck;

namespace {

FrameReport frameWith(Verdict verdict, int bytes) {
    FrameReport frame;
    frame.verdict = verdict;
    auto picture = std::make_shared<PictureReport>();
    picture->preview.jpeg = QByteArray(bytes - 1, 'x');
    picture->preview.small = "x";
    picture->hash = {7, 8};
    frame.file.picture = picture;
    return frame;
}

bool hasPreview(const FrameReport& frame) {
    EXPECT_TRUE(frame.file.picture);
    return !frame.file.picture->preview.jpeg.isEmpty();
}

bool staysInRunOf(std::size_t frames, Verdict verdict, bool isOpen) {
    WaitingPreviews previews(frames);
    FrameReport frame = frameWith(verdict, 1000);
    previews.enter(frame, isOpen);
    return hasPreview(frame);
}

constexpr std::size_t longRun = WaitingPreviews::mostGood + 1;
constexpr int half = static_cast<int>(WaitingPreviews::mostBytes / 2);

}  // namespace

TEST(WaitingPreviews, AreThoseOfGoodFramesInShortRunsOnly) {
    EXPECT_TRUE(staysInRunOf(longRun - 1, Verdict::good, false));
    EXPECT_FALSE(staysInRunOf(longRun, Verdict::good, false));
    EXPECT_TRUE(staysInRunOf(longRun, Verdict::suspicious, false));
    EXPECT_TRUE(staysInRunOf(longRun, Verdict::bad, false));
}

TEST(WaitingPreviews, StayAsLongAsTheVerdictIsOpen) {
    EXPECT_TRUE(staysInRunOf(longRun, Verdict::good, true));
    WaitingPreviews previews(longRun);
    FrameReport frame = frameWith(Verdict::good, 1000);
    previews.enter(frame, true);
    FrameReport other = frame;
    other.verdict = Verdict::suspicious;
    previews.leave(other);
    EXPECT_TRUE(hasPreview(other));
    previews.enter(frame, true);
    previews.leave(frame);
    EXPECT_FALSE(hasPreview(frame));
}

TEST(WaitingPreviews, TakeNoMoreThanTheirRoom) {
    WaitingPreviews previews(1);
    FrameReport first = frameWith(Verdict::bad, half);
    FrameReport second = frameWith(Verdict::bad, half);
    FrameReport third = frameWith(Verdict::bad, 10);
    previews.enter(first, false);
    previews.enter(second, false);
    previews.enter(third, false);
    EXPECT_TRUE(hasPreview(first) && hasPreview(second));
    EXPECT_FALSE(hasPreview(third));
    previews.leave(third);
    previews.leave(first);
    FrameReport fourth = frameWith(Verdict::bad, half);
    previews.enter(fourth, false);
    EXPECT_TRUE(hasPreview(fourth));
    FrameReport fifth = frameWith(Verdict::bad, 10);
    previews.enter(fifth, false);
    EXPECT_FALSE(hasPreview(fifth));
}

TEST(WaitingPreviews, LeaveTheRestOfTheReport) {
    FrameReport frame = frameWith(Verdict::bad, 1000);
    const auto shared = frame.file.picture;
    WaitingPreviews::remove(frame);
    EXPECT_FALSE(hasPreview(frame));
    EXPECT_EQ(frame.file.picture->hash, shared->hash);
    EXPECT_FALSE(shared->preview.jpeg.isEmpty()) << "who shares the report keeps it";
    FrameReport none;
    WaitingPreviews::remove(none);
    EXPECT_FALSE(none.file.picture);
}
