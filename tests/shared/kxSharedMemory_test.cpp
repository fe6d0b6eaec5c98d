// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxSharedMemory.h"

#include "tests/support/ClientProcess.h"
#include "tests/support/TempDir.h"

#include <QSharedMemory>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <sys/time.h>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A $TMPDIR of the test's own: the segment's system key comes from a file below it, named when an object is made.
struct OwnTempDir {
    OwnTempDir() { setenv("TMPDIR", dir.path().c_str(), 1); }
    ~OwnTempDir() { former.isEmpty() ? unsetenv("TMPDIR") : setenv("TMPDIR", former.constData(), 1); }

    QByteArray former = qgetenv("TMPDIR");
    TempDir dir;
};

class SharedMemory : public testing::Test, protected OwnTempDir {
protected:
    void SetUp() override {
        if (!hasSystemVSharedMemory()) GTEST_SKIP() << "no System V shared memory and semaphores on this machine";
    }

    QSharedMemory maker{QStringLiteral("kxTestSegment")};
    kxSharedMemory memory{"kxTestSegment"};
};

}  // namespace

TEST_F(SharedMemory, WithoutSegmentNothingIsAttached) {
    QSharedMemory plain(QStringLiteral("kxTestSegment"));
    ASSERT_FALSE(plain.attach());
    EXPECT_FALSE(memory.attach());
    EXPECT_EQ(memory.errorString(), plain.errorString());
    EXPECT_FALSE(memory.errorString().isEmpty());
    EXPECT_EQ(memory.size(), 0);
    EXPECT_EQ(memory.data(), nullptr);
    EXPECT_FALSE(memory.unlock());
    EXPECT_FALSE(memory.detach());
}

TEST_F(SharedMemory, NoFileIsLeftBehindWithoutSegment) {
    { EXPECT_FALSE(kxSharedMemory("kxTestSegment").attach()); }
    EXPECT_EQ(dir.entries(), std::vector<std::string>());
}

TEST_F(SharedMemory, NewObjectHasNoError) {
    EXPECT_EQ(memory.errorString(), QString());
}

TEST_F(SharedMemory, SizeIsThatOfTheSegmentToTheByte) {
    for (const int size : {1, 4095, 4096, 4097, 22983, 22984}) {
        ASSERT_TRUE(maker.create(size));
        ASSERT_TRUE(memory.attach());
        EXPECT_EQ(memory.size(), size);
        EXPECT_TRUE(memory.detach());
        ASSERT_TRUE(maker.detach());
    }
}

TEST_F(SharedMemory, BytesAreSharedBothWays) {
    ASSERT_TRUE(maker.create(100));
    ASSERT_TRUE(memory.attach());
    auto* const bytes = static_cast<char*>(memory.data());
    ASSERT_NE(bytes, nullptr);
    std::strcpy(static_cast<char*>(maker.data()), "from the maker");
    EXPECT_STREQ(bytes, "from the maker");
    std::strcpy(bytes, "to the maker");
    EXPECT_STREQ(static_cast<const char*>(maker.constData()), "to the maker");
}

TEST_F(SharedMemory, DetachedObjectHasNoData) {
    ASSERT_TRUE(maker.create(100));
    ASSERT_TRUE(memory.attach());
    EXPECT_TRUE(memory.detach());
    EXPECT_EQ(memory.data(), nullptr);
    EXPECT_EQ(memory.size(), 0);
    EXPECT_FALSE(memory.detach());
}

TEST_F(SharedMemory, DetachingLeavesTheSegmentToItsMaker) {
    ASSERT_TRUE(maker.create(100));
    { EXPECT_TRUE(kxSharedMemory("kxTestSegment").attach()); }
    EXPECT_TRUE(maker.isAttached());
    EXPECT_TRUE(memory.attach());
}

TEST_F(SharedMemory, NamesAreLatin1) {
    QSharedMemory named(latin1("Schl\xfcssel"));
    ASSERT_TRUE(named.create(100));
    EXPECT_TRUE(kxSharedMemory("Schl\xfcssel").attach());
    EXPECT_FALSE(kxSharedMemory("Schlussel").attach());
}

TEST_F(SharedMemory, LockKeepsOthersOut) {
    ASSERT_TRUE(maker.create(100));
    ASSERT_TRUE(memory.attach());
    ASSERT_TRUE(memory.lock());
    std::atomic<bool> otherIsIn{false};
    std::future<bool> other = std::async(std::launch::async, [&] {
        const bool locked = maker.lock();
        otherIsIn = true;
        return locked && maker.unlock();
    });
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_FALSE(otherIsIn);
    EXPECT_TRUE(memory.unlock());
    EXPECT_TRUE(other.get());
    EXPECT_TRUE(otherIsIn);
    EXPECT_FALSE(memory.unlock());
}

// Without the lock, increments of several threads get lost.
TEST_F(SharedMemory, IncrementsUnderTheLockAreNotLost) {
    ASSERT_TRUE(maker.create(static_cast<int>(sizeof(int))));
    auto* const total = static_cast<volatile int*>(maker.data());
    *total = 0;
    const auto count = [] {
        kxSharedMemory own("kxTestSegment");
        if (!own.attach()) {
            ADD_FAILURE() << bytesOf(own.errorString());
            return;
        }
        auto* const counter = static_cast<volatile int*>(own.data());
        for (int i = 0; i < 500; ++i) {
            EXPECT_TRUE(own.lock());
            const int value = *counter;
            std::this_thread::yield();
            *counter = value + 1;
            EXPECT_TRUE(own.unlock());
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(count);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(+*total, 2000);
}

TEST_F(SharedMemory, DetachAndDestructionUnlock) {
    ASSERT_TRUE(maker.create(100));
    ASSERT_TRUE(memory.attach());
    ASSERT_TRUE(memory.lock());
    testing::internal::CaptureStderr();
    EXPECT_TRUE(memory.detach());
    EXPECT_TRUE(maker.lock());
    EXPECT_TRUE(maker.unlock());
    {
        kxSharedMemory passing("kxTestSegment");
        EXPECT_TRUE(passing.attach());
        EXPECT_TRUE(passing.lock());
    }
    EXPECT_TRUE(maker.lock());
    EXPECT_TRUE(maker.unlock());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(SharedMemory, LockOfAKilledProcessIsUndone) {
    const ClientProcess client(dir.path());
    ClientProcess holder(dir.path());
    ASSERT_EQ(client.ask("create 100"), "ok\n");
    ASSERT_EQ(holder.ask("attach"), "ok\n");
    kxSharedMemory clients("kxClientSharedMemory");
    ASSERT_TRUE(clients.attach());
    ASSERT_EQ(holder.ask("lock"), "ok\n");
    std::future<bool> lock = std::async(std::launch::async, [&] { return clients.lock(); });
    EXPECT_EQ(lock.wait_for(milliseconds(100)), std::future_status::timeout);
    holder.kill();
    EXPECT_TRUE(lock.get());
    EXPECT_TRUE(clients.unlock());
}

TEST_F(SharedMemory, EmptyNameCanBeNeitherAttachedNorLocked) {
    kxSharedMemory nameless("");
    EXPECT_FALSE(nameless.attach());
    EXPECT_FALSE(nameless.lock());
    EXPECT_FALSE(nameless.errorString().isEmpty());
}

// Taken for unsigned numbers the negative ones would last for weeks.
TEST(Sleep, LastsAtLeastItsTime) {
    for (const int time : {-2147483647 - 1, -1, 0, 1, 20, 1100}) {
        const auto begin = Clock::now();
        kxSleep(time);
        EXPECT_GE(Clock::now() - begin, milliseconds(time));
    }
}

TEST(Sleep, SignalsDoNotCutItShort) {
    static std::atomic<int> alarms;
    alarms = 0;
    struct sigaction action {};
    struct sigaction former {};
    action.sa_handler = [](int) { ++alarms; };
    sigaction(SIGALRM, &action, &former);
    const itimerval every10ms{{0, 10000}, {0, 10000}};
    const itimerval never{};
    setitimer(ITIMER_REAL, &every10ms, nullptr);
    const auto begin = Clock::now();
    kxSleep(200);
    const auto slept = Clock::now() - begin;
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &former, nullptr);
    EXPECT_GE(slept, milliseconds(200));
    EXPECT_GT(alarms, 0);
}
