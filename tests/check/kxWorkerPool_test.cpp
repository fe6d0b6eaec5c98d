// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxWorkerPool.h"

#include "shared/kxMemoryLimit.h"
#include "tests/support/PlayedWorker.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <random>
#include <set>
#include <thread>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kxCheck;

namespace {

PoolOptions withJobs(int jobs) {
    PoolOptions options;
    options.jobs = jobs;
    options.limits.memoryMiB = 1024;
    options.secondsPerFrame = 60;
    options.longSilence = std::chrono::minutes(5);  // a busy machine may leave a process waiting for long
    return options;
}

void addGood(WorkerPool& pool, int count, Level level) {
    for (int i = 0; i < count; ++i) pool.add({"good " + QByteArray::number(i), level});
}

// True when all reports came, in order.
bool givesInOrder(WorkerPool& pool, int count) {
    for (int i = 0; i < count; ++i) {
        const auto report = pool.next();
        if (!report || numberOf(*report) != i) return false;
    }
    return !pool.next();
}

bool isGone(pid_t process) {
    for (int i = 0; i < 10000; ++i) {
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
    EXPECT_FALSE(pool.nextUntil(soon())) << "without frames";
    pool.add({"sleep 600000", Level::headers});
    EXPECT_FALSE(pool.nextUntil(soon()));
    EXPECT_FALSE(pool.nextUntil(std::chrono::steady_clock::time_point::min()));
    EXPECT_FALSE(pool.stopped());
}

TEST(WorkerPool, GivesWhatIsThereInTime) {
    WorkerPool pool(withJobs(2), playedCheck);
    addGood(pool, 2, Level::headers);
    for (int i = 0; i < 2; ++i) {
        const auto report = pool.nextUntil(std::chrono::steady_clock::now() + std::chrono::minutes(5));
        ASSERT_TRUE(report);
        EXPECT_EQ(numberOf(*report), i);
    }
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
    EXPECT_FALSE(pool.nextUntil(std::chrono::steady_clock::now() + std::chrono::minutes(5)));
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

// Each of these frames costs itself only, at the start, in the middle and at the end of a batch.
TEST(WorkerPool, ChargesWhatAWorkerDoesToTheFrameItWasAt) {
    const struct {
        const char* path;
        const char* finding;
    } cases[] = {
        {"exit 0", "limit: the reader ended with exit code 0"},
        {"exit 3", "limit: the reader ended with exit code 3"},
        {"signal 9", "limit: the reader was killed by signal 9 (KILL)"},
        {"signal 6", "limit: the reader was killed by signal 6 (ABRT)"},
        {"abort", "limit: the reader was killed by signal 6 (ABRT)"},
        {"throw", "limit: the reader failed with an unexpected error"},
        {"allocate 100000", "limit: the reader ran out of memory (limit 1024 MiB)"},
        {"close", "limit: the reader closed its connection"},
        {"closeAll", "limit: the reader closed its connection"},
        {"nonsense", "limit: the reader sent what is no report"},
        {"long", "limit: the reader sent what is no report"},
        {"longer", "limit: the reader sent what is no report"},
        {"short", "limit: the reader sent what is no report"},
        {"endless", "limit: the reader sent what is no report"},
        {"empty", "limit: the reader sent what is no report"},
        {"half", "limit: the reader ended with exit code 0"},
    };
    for (const auto& c : cases) {
        if (kxIsSanitizerBuild() && QByteArray(c.path).startsWith("allocate")) continue;  // not limited there
        for (const Level level : {Level::structure, Level::pixels}) {
            WorkerPool pool(withJobs(2), playedCheck);
            for (int i = 0; i < 40; ++i) {
                const bool good = i != 0 && i != 17 && i != 39;
                pool.add({good ? "good " + QByteArray::number(i) : QByteArray(c.path), level});
            }
            for (int i = 0; i < 40; ++i) {
                const auto report = pool.next();
                ASSERT_TRUE(report);
                if (i != 0 && i != 17 && i != 39)
                    EXPECT_EQ(numberOf(*report), i) << c.path;
                else
                    EXPECT_EQ(firstFinding(*report), c.finding) << i;
            }
            EXPECT_FALSE(pool.next());
        }
    }
}

// More frames are on their way to a worker while it dies at one: that is tried once, and no other is charged.
TEST(WorkerPool, TriesNoFrameAgainThatAWorkerDiedAt) {
    for (int jobs = 1; jobs <= 6; ++jobs) {
        sharedNotes().started = 0;
        WorkerPool pool(withJobs(jobs), [](const FileCheck& check) {
            if (check.path != "deadly") return numberedReport(check.path.toInt());
            ++sharedNotes().started;
            _exit(1);
        });
        const auto isDeadly = [](int i) { return i % 50 == 33; };
        for (int i = 0; i < 2000; ++i)
            pool.add({isDeadly(i) ? QByteArray("deadly") : QByteArray::number(i), Level::structure});
        for (int i = 0; i < 2000; ++i) {
            const FileReport report = pool.next().value_or(FileReport());
            EXPECT_EQ(numberOf(report), isDeadly(i) ? -1 : i);
            EXPECT_EQ(firstFinding(report), isDeadly(i) ? "limit: the reader ended with exit code 1" : "");
        }
        EXPECT_EQ(sharedNotes().started, 40) << jobs;
    }
}

// The report that was sent too early is taken for the frame's; the next frame then has the true one as its own, and
// what is left over at the end of the batch gives the worker away.
TEST(WorkerPool, EndsAWorkerThatReportsMoreThanItWasAsked) {
    WorkerPool pool(withJobs(1), playedCheck);
    pool.add({"twice 7", Level::pixels});
    pool.add({"good 8", Level::pixels});
    EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), 7);
    const auto second = pool.next();
    ASSERT_TRUE(second);
    EXPECT_FALSE(pool.next());
    EXPECT_LE(pool.traffic().workers, 2);
}

TEST(WorkerPool, DoesNotWaitForTheChildrenOfAWorker) {
    PoolOptions options = withJobs(1);
    options.secondsPerFrame = 1;
    WorkerPool impatient(options, playedCheck);
    impatient.add({"fork", Level::structure});
    impatient.add({"good 1", Level::structure});
    const auto report = impatient.next();
    ASSERT_TRUE(report);
    EXPECT_EQ(firstFinding(*report).left(6), "limit:");
    EXPECT_EQ(numberOf(impatient.next().value_or(FileReport())), 1);
}

TEST(WorkerPool, EndsAFrameAtItsTimeLimit) {
    for (const char* path : {"sleep 600000", "signal 19", "slow"}) {
        PoolOptions options = withJobs(2);
        options.secondsPerFrame = 1;
        WorkerPool pool(options, playedCheck);
        addGood(pool, 10, Level::structure);
        pool.add({path, Level::structure});
        pool.add({"good 11", Level::structure});
        for (int i = 0; i < 10; ++i) EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), i);
        const auto report = pool.next();
        ASSERT_TRUE(report);
        EXPECT_EQ(firstFinding(*report), "limit: the time limit of 1 second was reached") << path;
        EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), 11);
    }
}

// Half a second a frame and four in a batch: more than the limit together.
TEST(WorkerPool, CountsTheTimeLimitFromTheLastReport) {
    PoolOptions options = withJobs(1);
    options.secondsPerFrame = 2;
    WorkerPool pool(options, playedCheck);
    for (int i = 0; i < 8; ++i) pool.add({"sleep 500", Level::structure});
    for (int i = 0; i < 8; ++i) EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), 500);
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
        EXPECT_FALSE(pool.nextUntil(std::chrono::steady_clock::now() + std::chrono::milliseconds(10)));
    EXPECT_EQ(pool.traffic().batches, 16);
    sharedNotes().started = 1000;
    while (pool.next()) {
    }
    EXPECT_EQ(pool.traffic().reports, 400);
}

// Frames of a worker that died wait again, while others have later ones and the memory for reports is full.
TEST(WorkerPool, GoesOnWhenFramesComeBackAndReportsFillTheMemory) {
    for (const int deadly : {5, 10, 60}) {
        WorkerPool pool(withJobs(2), [deadly](const FileCheck& check) {
            if (check.path.toInt() == deadly) _exit(1);
            FileReport report = numberedReport(check.path.toInt());
            report.findings = {makeFinding(Code::truncated, "")};
            report.findings[0].tiles.resize(8000);  // a quarter of a megabyte, of 16 that may wait
            return report;
        });
        for (int i = 0; i < 400; ++i) pool.add({QByteArray::number(i), Level::structure});
        for (int i = 0; i < 400; ++i) EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), i == deadly ? -1 : i);
    }
}

// What the silent worker has not begun is done by others long before its time is over.
TEST(WorkerPool, GivesToOthersWhatASilentWorkerHasNotBegun) {
    PoolOptions options = withJobs(2);
    options.secondsPerFrame = 3600;
    options.longSilence = std::chrono::milliseconds(200);
    WorkerPool pool(options, playedCheck);
    for (int i = 0; i < 200; ++i)
        pool.add({i == 3 ? "sleep 600000" : "good " + QByteArray::number(i), Level::structure});
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(4);
    int given = 0;
    while (pool.traffic().reports < 199 && std::chrono::steady_clock::now() < end)
        if (pool.nextUntil(std::chrono::steady_clock::now() + std::chrono::milliseconds(50))) ++given;
    EXPECT_EQ(pool.traffic().reports, 199);
    EXPECT_EQ(given, 3) << "the others wait for the fourth";
    EXPECT_EQ(pool.traffic().workers, 2);
}

// The frames that were taken from it are not reported twice, and it is not charged with them.
TEST(WorkerPool, EndsASilentWorkerWhenItReportsAgain) {
    PoolOptions options = withJobs(2);
    options.longSilence = std::chrono::milliseconds(200);
    WorkerPool pool(options, playedCheck);
    for (int i = 0; i < 200; ++i)
        pool.add({i == 3 ? "sleep 2500" : "good " + QByteArray::number(i), Level::structure});
    for (int i = 0; i < 200; ++i) EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), i == 3 ? 2500 : i);
    EXPECT_FALSE(pool.next());
}

TEST(WorkerPool, DoesNotCountTheTimeInWhichTheCallerIsAway) {
    PoolOptions options = withJobs(1);
    options.secondsPerFrame = 2;
    WorkerPool pool(options, playedCheck);
    pool.add({"good 0", Level::structure});
    pool.add({"sleep 3500", Level::structure});
    ASSERT_TRUE(pool.next());
    pool.add({"good 0", Level::structure});
    pool.add({"good 1", Level::structure});
    std::this_thread::sleep_for(std::chrono::milliseconds(3000));
    EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), 3500);
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

TEST(WorkerPool, LosesNoFrameWhenWorkersAreKilledAtRandom) {
    const pid_t test = getpid();
    SharedNotes& notes = sharedNotes();  // made before the fork, so that the killer shares them
    const pid_t killer = fork();
    if (killer == 0) {
        std::mt19937 random(7);
        for (;;) {
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 8000));
            const pid_t process = notes.process;
            if (process > 0 && process != test) kill(process, SIGKILL);
            if (getppid() != test) _exit(0);
        }
    }
    // On a fast machine a run may be over before the first kill: it is repeated until one struck. On a busy one a
    // killed process may be there for a while.
    const std::set<QByteArray> ends = {"limit: the reader was killed by signal 9 (KILL)",
                                       "limit: the reader closed its connection"};
    for (const Level level : {Level::structure, Level::pixels}) {
        bool struck = false;
        while (!struck) {
            WorkerPool pool(withJobs(4), playedCheck);
            addGood(pool, 2000, level);
            for (int i = 0; i < 2000; ++i) {
                const auto report = pool.next();
                ASSERT_TRUE(report);
                if (numberOf(*report) == i) continue;
                EXPECT_EQ(ends.count(firstFinding(*report)), 1U) << firstFinding(*report).constData();
            }
            EXPECT_FALSE(pool.next());
            struck = pool.traffic().workers > 4;
        }
    }
    kill(killer, SIGKILL);
    waitpid(killer, nullptr, 0);
}
