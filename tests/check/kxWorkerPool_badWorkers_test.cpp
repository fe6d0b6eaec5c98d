// SPDX-License-Identifier: BSD-3-Clause
// Workers that die, hang, talk nonsense or say nothing for long: what that costs, and what it does not.
#include "shared/kxMemoryLimit.h"
#include "tests/support/PlayedPool.h"

#include <gtest/gtest.h>

#include <csignal>
#include <random>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

using namespace kxCheck;

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
            PoolOptions options = withJobs(2);
            if (QByteArray(c.path).startsWith("close"))
                options.endGrace = PoolOptions().endGrace;  // they never end
            WorkerPool pool(options, playedCheck);
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

// The second report of a frame counts for no other: the worker is ended, and what it had goes to others.
TEST(WorkerPool, EndsAWorkerThatReportsMoreThanItWasAsked) {
    for (const Level level : {Level::structure, Level::pixels})
        for (const int jobs : {1, 3}) {
            WorkerPool pool(withJobs(jobs), playedCheck);
            constexpr int frames = 40;
            for (int i = 0; i < frames; ++i)
                pool.add({(i % 7 == 0 ? "twice " : "good ") + QByteArray::number(i), level});
            for (int i = 0; i < frames; ++i) EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), i);
            EXPECT_FALSE(pool.next());
            EXPECT_TRUE(jobs > 1 || pool.traffic().workers > 1);
        }
}

// Otherwise it could keep the run as often as there are workers, each time until shortly before the time limit.
TEST(WorkerPool, TriesAFrameOnceMoreAtWhichAWorkerRepeatsItself) {
    sharedNotes().started = 0;
    WorkerPool pool(withJobs(4), playedCheck);
    constexpr int frames = 30;
    for (int i = 0; i < frames; ++i)
        pool.add({i == 20 ? QByteArray("surplus 0") : "good " + QByteArray::number(i), Level::pixels});
    for (int i = 0; i < frames; ++i) {
        const auto report = pool.next();
        ASSERT_TRUE(report);
        EXPECT_TRUE(i == 20 || numberOf(*report) == i) << i;
    }
    EXPECT_FALSE(pool.next());
    // It, and the one that its second worker was given before that had said too much.
    EXPECT_LE(sharedNotes().started, frames + 2);
}

TEST(WorkerPool, DoesNotWaitForTheChildrenOfAWorker) {
    PoolOptions options = withJobs(1);
    options.secondsPerFrame = 5;
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
        options.secondsPerFrame = 3;
        WorkerPool pool(options, playedCheck);
        addGood(pool, 10, Level::structure);
        pool.add({path, Level::structure});
        pool.add({"good 11", Level::structure});
        for (int i = 0; i < 10; ++i) EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), i);
        const auto report = pool.next();
        ASSERT_TRUE(report);
        EXPECT_EQ(firstFinding(*report), "limit: the time limit of 3 seconds was reached") << path;
        EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), 11);
    }
}

// More than a second a frame and four in a batch: more than the limit together.
TEST(WorkerPool, CountsTheTimeLimitFromTheLastReport) {
    PoolOptions options = withJobs(1);
    options.secondsPerFrame = 4;
    WorkerPool pool(options, playedCheck);
    for (int i = 0; i < 8; ++i) pool.add({"sleep 1100", Level::structure});
    for (int i = 0; i < 8; ++i) EXPECT_EQ(numberOf(pool.next().value_or(FileReport())), 1100);
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
    options.longSilence = std::chrono::seconds(3);
    WorkerPool pool(options, playedCheck);
    for (int i = 0; i < 200; ++i)
        pool.add({i == 3 ? "sleep 600000" : "good " + QByteArray::number(i), Level::structure});
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(4);
    std::set<WorkerPool::Number> given;
    while (given.size() < 199 && std::chrono::steady_clock::now() < end)
        if (const auto done = pool.anyUntil(std::chrono::steady_clock::now() + std::chrono::milliseconds(50)))
            given.insert(done->number);
    EXPECT_EQ(pool.traffic().reports, 199);
    EXPECT_EQ(given.size(), 199U);
    EXPECT_EQ(given.count(3), 0U);
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

TEST(WorkerPool, LosesNoFrameWhenWorkersAreKilledAtRandom) {
    const pid_t test = getpid();
    SharedNotes& notes = sharedNotes();  // made before the fork, so that the killer shares them
    const pid_t killer = fork();
    if (killer == 0) {
        std::mt19937 random(7);
        // Where starting a worker takes long, not each one at its first frame: the test would take minutes.
        for (int next = notes.started; getppid() == test;) {
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 8000));
            const pid_t process = notes.process;
            if (process <= 0 || process == test || notes.started < next) continue;
            kill(process, SIGKILL);
            next = notes.started + static_cast<int>(random() % 40);
        }
        _exit(0);
    }
    // On a fast machine a run may be over before the first kill: it is repeated until one struck.
    for (const Level level : {Level::structure, Level::pixels}) {
        bool struck = false;
        while (!struck) {
            WorkerPool pool(withJobs(4), playedCheck);
            addGood(pool, 2000, level);
            for (int i = 0; i < 2000; ++i) {
                const auto report = pool.next();
                ASSERT_TRUE(report);
                if (numberOf(*report) == i) continue;
                EXPECT_EQ(firstFinding(*report), "limit: the reader was killed by signal 9 (KILL)");
            }
            EXPECT_FALSE(pool.next());
            struck = pool.traffic().workers > 4;
        }
    }
    kill(killer, SIGKILL);
    waitpid(killer, nullptr, 0);
}
