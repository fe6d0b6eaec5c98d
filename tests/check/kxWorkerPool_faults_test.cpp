// SPDX-License-Identifier: BSD-3-Clause
// Where no process, or no connection to one, can be had.
#include "check/kxWorkerPool.h"
#include "tests/support/FailingCalls.h"
#include "tests/support/PlayedPool.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace kxCheck;

namespace {

constexpr int always = 1000000;

class PoolFaultTest : public ::testing::Test {
protected:
    PoolFaultTest() {
        theSystem = System();
        pool = std::make_unique<WorkerPool>(withJobs(4), playedCheck);
        for (int i = 0; i < 20; ++i) pool->add({"good " + QByteArray::number(i), Level::structure});
    }
    ~PoolFaultTest() override { theSystem = System(); }

    // A "+" for each frame that was checked, otherwise what was found.
    QByteArray outcome() const {
        QByteArray text;
        for (int i = 0; i < 20; ++i) {
            const auto report = pool->next();
            text +=
                report && numberOf(*report) == i ? "+" : "(" + firstFinding(report.value_or(FileReport())) + ")";
        }
        return text;
    }

    std::unique_ptr<WorkerPool> pool;
};

}  // namespace

TEST_F(PoolFaultTest, DoesWithFewerWorkers) {
    theSystem.fork.failWith(EAGAIN, always, 2);
    EXPECT_EQ(outcome(), QByteArray(20, '+'));
    EXPECT_EQ(pool->traffic().workers, 2);
}

TEST_F(PoolFaultTest, WaitsAMomentForTheFirstWorker) {
    theSystem.fork.failWith(EAGAIN, 2);
    EXPECT_EQ(outcome(), QByteArray(20, '+'));
}

TEST_F(PoolFaultTest, SaysThatFramesCouldNotBeReadWithoutAnyWorker) {
    theSystem.fork.failWith(EAGAIN, always);
    const QByteArray one = "(unreadable: no process could be started to read it: Resource temporarily unavailable)";
    EXPECT_EQ(outcome(), one.repeated(20));
    EXPECT_FALSE(pool->next());
}

TEST_F(PoolFaultTest, SaysThatFramesCouldNotBeReadWithoutDescriptors) {
    theSystem.socketpair.failWith(EMFILE, always);
    const QByteArray one = "(unreadable: no process could be started to read it: Too many open files)";
    EXPECT_EQ(outcome(), one.repeated(20));
}

TEST_F(PoolFaultTest, GoesOnWhenProcessesCanBeHadAgain) {
    theSystem.socketpair.failWith(EMFILE, always);
    const auto first = pool->next();
    ASSERT_TRUE(first);
    EXPECT_EQ(firstFinding(*first).left(11), "unreadable:");
    theSystem = System();
    for (int i = 1; i < 20; ++i) EXPECT_EQ(numberOf(pool->next().value_or(FileReport())), i);
}
