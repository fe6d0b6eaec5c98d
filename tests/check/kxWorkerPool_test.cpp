// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxWorkerPool.h"

#include "tests/support/PlayedPool.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <set>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

using namespace kxCheck;

namespace {

// True when all reports came, in order.
bool givesInOrder(WorkerPool& pool, int count) {
    for (int i = 0; i < count; ++i) {
        const auto report = pool.next();
        if (!report || numberOf(*report) != i) return false;
    }
    return !pool.next();
}

bool isGone(pid_t process) {
    for (int i = 0; i < 60000; ++i) {
        if (kill(process, 0) != 0) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

}  // namespace

TEST(WorkerPool, GivesNothingWithoutFrames) {
    WorkerPool pool(withJobs(4), playedCheck);
    EXPECT_FALSE(pool.next());
    EXPECT_EQ(pool.traffic().workers, 0);
}

TEST(WorkerPool, KeepsTheOrderOfFramesWithAnyNumberOfJobs) {
    for (const Level level : {Level::headers, Level::structure, Level::pixels}) {
        for (int jobs = 1; jobs <= 16; ++jobs) {
            WorkerPool pool(withJobs(jobs), playedCheck);
            addGood(pool, 200, level);
            EXPECT_TRUE(givesInOrder(pool, 200)) << jobs;
            EXPECT_EQ(pool.traffic().reports, 200);
        }
    }
}

TEST(WorkerPool, WaitsNoLongerThanItIsToldTo) {
    WorkerPool pool(withJobs(1), playedCheck);
    const auto soon = [] { return std::chrono::steady_clock::now() + std::chrono::milliseconds(20); };
    EXPECT_FALSE(pool.anyUntil(soon())) << "without frames";
    pool.add({"sleep 600000", Level::headers});
    EXPECT_FALSE(pool.anyUntil(soon()));
    EXPECT_FALSE(pool.anyUntil(std::chrono::steady_clock::time_point::min()));
    EXPECT_FALSE(pool.stopped());
}

TEST(WorkerPool, GivesWhatIsThereInTime) {
    WorkerPool pool(withJobs(2), playedCheck);
    addGood(pool, 2, Level::headers);
    std::set<int> given;
    for (int i = 0; i < 2; ++i) {
        const auto done = pool.anyUntil(std::chrono::steady_clock::now() + std::chrono::minutes(5));
        ASSERT_TRUE(done);
        EXPECT_EQ(numberOf(done->report), done->number);
        given.insert(numberOf(done->report));
    }
    EXPECT_EQ(given, (std::set<int>{0, 1}));
    addGood(pool, 1, Level::headers);  // also after it was idle
    EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), 0);
}

TEST(WorkerPool, IsStoppedWhileItWaitsForOtherNews) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    PoolOptions options = withJobs(1);
    options.stopDescriptor = ends[0];
    WorkerPool pool(options, playedCheck);
    ASSERT_EQ(write(ends[1], "", 1), 1);
    EXPECT_FALSE(pool.anyUntil(std::chrono::steady_clock::now() + std::chrono::minutes(5)));
    EXPECT_TRUE(pool.stopped());
    for (const int end : ends) close(end);
}

TEST(WorkerPool, TakesFramesWhileItWorks) {
    WorkerPool pool(withJobs(3), playedCheck);
    for (int i = 0; i < 50; ++i) {
        pool.add({"good " + QByteArray::number(2 * i), Level::structure});
        pool.add({"good " + QByteArray::number(2 * i + 1), Level::structure});
        const auto report = pool.next();
        ASSERT_TRUE(report);
        EXPECT_EQ(numberOf(*report), i);
    }
    for (int i = 50; i < 100; ++i) EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), i);
    EXPECT_FALSE(pool.next());
}

TEST(WorkerPool, StartsNoMoreWorkersThanThereAreFrames) {
    WorkerPool pool(withJobs(16), playedCheck);
    addGood(pool, 3, Level::structure);
    EXPECT_TRUE(givesInOrder(pool, 3));
    EXPECT_LE(pool.traffic().workers, 3);
}

TEST(WorkerPool, SharesTheHeadersOfAllFrames) {
    WorkerPool pool(withJobs(4), playedCheck);
    addGood(pool, 100, Level::headers);
    const auto first = pool.next();
    ASSERT_TRUE(first);
    while (const auto report = pool.next()) EXPECT_EQ(report->headers, first->headers);
}

TEST(WorkerPool, SendsFewMessagesWhereFramesAreCheap) {
    const struct {
        int frames, jobs;
        Level level;
        int mostBatches;
    } cases[] = {
        {10000, 1, Level::headers, 10000 / 64 + 10},
        {10000, 16, Level::structure, 10000 / 64 + 160},
        {100, 2, Level::pixels, 100},
    };
    for (const auto& c : cases) {
        WorkerPool pool(withJobs(c.jobs), [](const FileCheck&) { return numberedReport(1); });
        for (int i = 0; i < c.frames; ++i) pool.add({"", c.level});
        for (int i = 0; i < c.frames; ++i) ASSERT_TRUE(pool.next());
        EXPECT_LE(pool.traffic().batches, c.mostBatches);
        EXPECT_EQ(pool.traffic().reports, c.frames);
        EXPECT_LE(pool.traffic().workers, c.jobs);
    }
}

TEST(WorkerPool, TakesPathsOfAnyLength) {
    WorkerPool pool(withJobs(2), playedCheck);
    const QByteArray filler(300000, 'x');
    for (int i = 0; i < 20; ++i) pool.add({"good " + QByteArray::number(i) + " " + filler, Level::headers});
    EXPECT_TRUE(givesInOrder(pool, 20));
}

// None gets a second batch while all are at the first frame of their first.
TEST(WorkerPool, GivesAllWorkersTheirShare) {
    sharedNotes().started = 0;
    WorkerPool pool(withJobs(16), [](const FileCheck&) {
        ++sharedNotes().started;
        while (sharedNotes().started < 1000) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return numberedReport(1);
    });
    for (int i = 0; i < 400; ++i) pool.add({"", Level::structure});
    while (sharedNotes().started < 16)
        EXPECT_FALSE(pool.anyUntil(std::chrono::steady_clock::now() + std::chrono::milliseconds(10)));
    EXPECT_EQ(pool.traffic().batches, 16);
    sharedNotes().started = 1000;
    while (pool.next()) {
    }
    EXPECT_EQ(pool.traffic().reports, 400);
}

TEST(WorkerPool, LetsAWholeSequenceWaitForOneFrame) {
    sharedNotes().started = 0;
    WorkerPool pool(withJobs(2), [](const FileCheck& check) {
        ++sharedNotes().started;
        while (check.path == "0" && sharedNotes().started < 24999)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return numberedReport(check.path.toInt());
    });
    pool.add({"0", Level::pixels});
    for (int i = 1; i < 24999; ++i) pool.add({QByteArray::number(i), Level::structure});
    EXPECT_TRUE(givesInOrder(pool, 24999));
}

// A report takes almost three megabytes here, and 32 are enough.
TEST(WorkerPool, BoundsTheMemoryOfReportsThatWait) {
    sharedNotes().started = 0;
    WorkerPool pool(withJobs(4), [](const FileCheck& check) {
        ++sharedNotes().started;
        if (check.path == "0") std::this_thread::sleep_for(std::chrono::seconds(1));
        FileReport report = numberedReport(check.path.toInt());
        report.findings = {makeFinding(Code::truncated, "")};
        report.findings[0].tiles.resize(90000);
        return report;
    });
    for (int i = 0; i < 60; ++i) pool.add({QByteArray::number(i), Level::pixels});
    const auto first = pool.next();
    ASSERT_TRUE(first);
    EXPECT_LE(sharedNotes().started, 32 / 2 + 2 * 4);
    for (int i = 1; i < 60; ++i) EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), i);
}

TEST(WorkerPool, EndsPromptlyWhenItIsStopped) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    PoolOptions options = withJobs(3);
    options.stopDescriptor = ends[0];
    WorkerPool pool(options, playedCheck);
    sharedNotes().process = 0;
    pool.add({"good 0", Level::structure});
    pool.add({"sleep 600000", Level::structure});
    ASSERT_TRUE(pool.next());
    EXPECT_FALSE(pool.stopped());
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_FALSE(pool.next());
    EXPECT_TRUE(pool.stopped());
    EXPECT_FALSE(pool.next());
    EXPECT_TRUE(isGone(sharedNotes().process));
    close(ends[0]);
    close(ends[1]);
}

TEST(WorkerPool, TakesItsWorkersWithIt) {
    {
        WorkerPool pool(withJobs(2), playedCheck);
        pool.add({"good 0", Level::structure});
        pool.add({"sleep 600000", Level::structure});
        ASSERT_TRUE(pool.next());
    }
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}
