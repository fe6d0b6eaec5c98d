// SPDX-License-Identifier: BSD-3-Clause
// Where no process, or no connection to one, can be had.
#include "check/kxWorkerPool.h"
#include "tests/support/PlayedWorker.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace kxCheck;

namespace {

int forksThatWork = 0;
int forksThatFail = 0;  // after those
bool withoutSockets = false;

}  // namespace

extern "C" {
pid_t __real_fork();
int __real_socketpair(int domain, int type, int protocol, int* ends);

pid_t __wrap_fork() {
    if (forksThatWork > 0) return --forksThatWork, __real_fork();
    if (forksThatFail > 0) {
        --forksThatFail;
        errno = EAGAIN;
        return -1;
    }
    return __real_fork();
}

int __wrap_socketpair(int domain, int type, int protocol, int* ends) {
    if (!withoutSockets) return __real_socketpair(domain, type, protocol, ends);
    errno = EMFILE;
    return -1;
}
}

namespace {

class PoolFaultTest : public ::testing::Test {
protected:
    PoolFaultTest() {
        forksThatWork = 0;
        forksThatFail = 0;
        withoutSockets = false;
        PoolOptions options;
        options.jobs = 4;
        pool = std::make_unique<WorkerPool>(options, playedCheck);
        for (int i = 0; i < 20; ++i) pool->add({"good " + QByteArray::number(i), Level::structure});
    }
    ~PoolFaultTest() override { withoutSockets = false; }

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
    forksThatWork = 2;
    forksThatFail = 1000000;
    EXPECT_EQ(outcome(), QByteArray(20, '+'));
    EXPECT_EQ(pool->traffic().workers, 2);
}

TEST_F(PoolFaultTest, WaitsAMomentForTheFirstWorker) {
    forksThatFail = 5;
    EXPECT_EQ(outcome(), QByteArray(20, '+'));
}

TEST_F(PoolFaultTest, SaysThatFramesCouldNotBeReadWithoutAnyWorker) {
    forksThatFail = 1000000;
    const QByteArray one = "(unreadable: no process could be started to read it: Resource temporarily unavailable)";
    EXPECT_EQ(outcome(), one.repeated(20));
    EXPECT_FALSE(pool->next());
}

TEST_F(PoolFaultTest, SaysThatFramesCouldNotBeReadWithoutDescriptors) {
    withoutSockets = true;
    const QByteArray one = "(unreadable: no process could be started to read it: Too many open files)";
    EXPECT_EQ(outcome(), one.repeated(20));
}

TEST_F(PoolFaultTest, GoesOnWhenProcessesCanBeHadAgain) {
    withoutSockets = true;
    const auto first = pool->next();
    ASSERT_TRUE(first);
    EXPECT_EQ(firstFinding(*first).left(11), "unreadable:");
    withoutSockets = false;
    for (int i = 1; i < 20; ++i) EXPECT_EQ(numberOf(pool->next().value_or(FileReport())), i);
}
