// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxFrameQueue.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

using namespace kxCheck;

namespace {

FileReport reportOf(FrameQueue::Number number) {
    FileReport report;
    report.seconds = static_cast<double>(number);
    return report;
}

FrameQueue withFrames(int count) {
    FrameQueue queue;
    for (int i = 0; i < count; ++i) queue.add({QByteArray::number(i), Level::structure});
    return queue;
}

}  // namespace

TEST(FrameQueue, IsEmptyAtFirst) {
    FrameQueue queue;
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(queue.waiting(), 0);
    EXPECT_FALSE(queue.takeFirst());
    EXPECT_FALSE(queue.isFull());
}

TEST(FrameQueue, GivesFramesInTheirOrder) {
    FrameQueue queue = withFrames(3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(queue.waiting(), 3 - i);
        EXPECT_EQ(queue.check(queue.firstWaiting()).path, QByteArray::number(i));
        EXPECT_EQ(queue.takeWaiting(), i);
    }
    EXPECT_EQ(queue.waiting(), 0);
    EXPECT_FALSE(queue.isEmpty()) << "no report was taken";
}

TEST(FrameQueue, GivesWhatWasReturnedBeforeWhatIsFresh) {
    FrameQueue queue = withFrames(4);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(queue.takeWaiting(), i);
    queue.giveBack(2);
    queue.giveBack(0);
    EXPECT_EQ(queue.waiting(), 3);
    for (const int expected : {0, 2, 3}) EXPECT_EQ(queue.takeWaiting(), expected);
}

TEST(FrameQueue, KeepsReportsUntilThoseBeforeThemAreThere) {
    FrameQueue queue = withFrames(2);
    queue.takeWaiting();
    queue.takeWaiting();
    queue.finish(1, reportOf(1), 100);
    EXPECT_FALSE(queue.takeFirst());
    EXPECT_TRUE(queue.isFirst(0));
    queue.finish(0, reportOf(0), 100);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(queue.takeFirst().value_or(reportOf(-1)).seconds, i);
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_TRUE(queue.isFirst(2));
}

TEST(FrameQueue, GivesAnyReportWithItsNumber) {
    FrameQueue queue = withFrames(4);
    for (int i = 0; i < 4; ++i) queue.takeWaiting();
    EXPECT_FALSE(queue.takeAny());
    for (const int done : {2, 1, 3}) queue.finish(done, reportOf(done), 100);
    for (const int expected : {1, 2}) {
        const auto taken = queue.takeAny();
        ASSERT_TRUE(taken);
        EXPECT_EQ(taken->number, expected);
        EXPECT_EQ(taken->report.seconds, expected);
    }
    EXPECT_TRUE(queue.isFirst(0));
    EXPECT_FALSE(queue.takeFirst());
    queue.finish(0, reportOf(0), 100);
    for (const int expected : {0, 3}) EXPECT_EQ(queue.takeFirst().value_or(reportOf(-1)).seconds, expected);
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(queue.add({"4", Level::structure}), 4);
    EXPECT_EQ(queue.takeWaiting(), 4);
}

TEST(FrameQueue, IsFullFrom16MiBOfWaitingReports) {
    FrameQueue queue = withFrames(2);
    queue.takeWaiting();
    queue.takeWaiting();
    queue.finish(0, reportOf(0), (16 << 20) - 1);
    EXPECT_FALSE(queue.isFull());
    queue.finish(1, reportOf(1), 1);
    EXPECT_TRUE(queue.isFull());
    ASSERT_TRUE(queue.takeAny());
    EXPECT_FALSE(queue.isFull());
}

// Beside sets of numbers: each frame waits, is with a worker, or has a report, and comes out once, in order or not.
class FrameQueueTaken : public ::testing::TestWithParam<bool> {};

TEST_P(FrameQueueTaken, LosesNoFrameInAnyOrderOfEvents) {
    const bool isAnyTaken = GetParam();
    std::mt19937 random(5);
    FrameQueue queue;
    std::set<FrameQueue::Number> waiting, given, done;
    FrameQueue::Number added = 0, taken = 0;
    for (int step = 0; step < 20000; ++step) {
        const auto anyGiven = [&] { return *std::next(given.begin(), static_cast<long>(random() % given.size())); };
        const auto event = random() % 5;
        if (event == 0 && added < 3000) {
            queue.add({QByteArray::number(qlonglong{added}), Level::structure});
            waiting.insert(added++);
        } else if (event == 1 && !waiting.empty()) {
            ASSERT_EQ(queue.takeWaiting(), *waiting.begin());
            given.insert(waiting.extract(waiting.begin()));
        } else if (event == 2 && !given.empty()) {
            const auto number = anyGiven();
            queue.giveBack(number);
            waiting.insert(given.extract(number));
        } else if (event == 3 && !given.empty()) {
            const auto number = anyGiven();
            ASSERT_EQ(queue.check(number).path, QByteArray::number(qlonglong{number}));
            queue.finish(number, reportOf(number), 1);
            done.insert(given.extract(number));
        } else if (event == 4 && isAnyTaken) {
            const auto any = queue.takeAny();
            ASSERT_EQ(any.has_value(), !done.empty());
            if (any) {
                EXPECT_EQ(any->number, *done.begin());
                EXPECT_EQ(any->report.seconds, static_cast<double>(any->number));
                done.erase(any->number);
                ++taken;
            }
        } else if (event == 4) {
            const auto report = queue.takeFirst();
            ASSERT_EQ(report.has_value(), done.erase(taken) == 1);
            if (report) {
                EXPECT_EQ(report->seconds, static_cast<double>(taken++));
            }
        }
        ASSERT_EQ(queue.waiting(), static_cast<FrameQueue::Number>(waiting.size()));
        ASSERT_EQ(queue.isEmpty(), taken == added);
    }
    EXPECT_GT(taken, 1000);
}

INSTANTIATE_TEST_SUITE_P(InOrderAndNot, FrameQueueTaken, ::testing::Bool());
