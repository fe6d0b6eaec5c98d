// SPDX-License-Identifier: BSD-3-Clause
#include "check/kxResources.h"

#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

#include <sched.h>

using namespace kxCheck;

namespace {

constexpr std::int64_t mib = 1 << 20;
constexpr std::int64_t unlimited = std::numeric_limits<std::int64_t>::max();

// A tree with the files of proc/ and sys/ that count.
class FreeMemoryTest : public ::testing::Test {
protected:
    void write(const std::string& name, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path(dir.file(name)).parent_path());
        ASSERT_TRUE(writeFileBytes(dir.file(name), content));
    }
    [[nodiscard]] std::int64_t free() const { return freeMemory(QByteArray::fromStdString(dir.path())); }

    TempDir dir;
};

}  // namespace

TEST_F(FreeMemoryTest, IsUnlimitedWhereTheSystemSaysNothing) {
    EXPECT_EQ(free(), unlimited);
}

TEST_F(FreeMemoryTest, IsUnlimitedWhereItCannotBeRead) {
    std::filesystem::create_directories(dir.file("proc/meminfo"));
    EXPECT_EQ(free(), unlimited);
}

TEST_F(FreeMemoryTest, IsWhatTheSystemHasAvailable) {
    write("proc/meminfo", "MemTotal:       24684928 kB\nMemFree:  1 kB\nMemAvailable:    2048 kB\nBuffers: 7 kB\n");
    EXPECT_EQ(free(), 2 * mib);
}

TEST_F(FreeMemoryTest, IsWhatTheTightestGroupHasLeft) {
    write("proc/meminfo", "MemAvailable:    4096 kB\n");
    write("proc/self/cgroup", "0::/jobs/4711\n");
    write("sys/fs/cgroup/jobs/memory.max", "3145728\n");
    write("sys/fs/cgroup/jobs/memory.current", "1048576\n");
    write("sys/fs/cgroup/jobs/4711/memory.max", "max\n");
    write("sys/fs/cgroup/jobs/4711/memory.current", "1048576\n");
    EXPECT_EQ(free(), 2 * mib);
    write("sys/fs/cgroup/jobs/4711/memory.max", "2097152\n");
    EXPECT_EQ(free(), 1 * mib);
}

TEST_F(FreeMemoryTest, CountsCachedFilesOfAGroupAsFree) {
    write("proc/self/cgroup", "0::/\n");
    write("sys/fs/cgroup/memory.max", "8388608\n");
    write("sys/fs/cgroup/memory.current", "8388608\n");
    write("sys/fs/cgroup/memory.stat", "anon 77\nactive_file 1048576\ninactive_file 2097152\nshmem 5\n");
    EXPECT_EQ(free(), 3 * mib);
}

TEST_F(FreeMemoryTest, KnowsTheMemoryHierarchyOfOlderSystems) {
    write("proc/self/cgroup", "5:cpu,cpuacct:/a\n4:memory:/a/b\n0::/c\n");
    write("sys/fs/cgroup/memory/a/b/memory.limit_in_bytes", "5242880\n");
    write("sys/fs/cgroup/memory/a/b/memory.usage_in_bytes", "1048576\n");
    EXPECT_EQ(free(), 4 * mib);
    write("sys/fs/cgroup/c/memory.max", "4194304\n");
    write("sys/fs/cgroup/c/memory.current", "1048576\n");
    EXPECT_EQ(free(), 3 * mib) << "of both hierarchies";
}

TEST_F(FreeMemoryTest, IsNeverBelowNothing) {
    write("proc/self/cgroup", "0::/\n");
    write("sys/fs/cgroup/memory.max", "1048576\n");
    write("sys/fs/cgroup/memory.current", "2097152\n");
    EXPECT_EQ(free(), 0);
}

TEST(DefaultMemoryLimit, IsAShareOfThreeQuartersWithinBounds) {
    const struct {
        int jobs;
        std::int64_t freeBytes, mib;
    } cases[] = {
        {1, 1000 * mib, 750},    {2, 1000 * mib, 375},   {16, 16000 * mib, 750},
        {1, 100000 * mib, 4096}, {1, unlimited, 4096},   {16, 0, 16},
        {16, 100 * mib, 16},     {2, 10922 * mib, 4095}, {2, 10923 * mib, 4096},
    };
    for (const auto& c : cases) EXPECT_EQ(defaultMemoryLimit(c.jobs, c.freeBytes), c.mib) << c.jobs << c.freeBytes;
}

TEST(DefaultJobs, AreTheProcessorsOnlyWherePixelsAreDecoded) {
    EXPECT_EQ(defaultJobs(Level::headers), 16);
    EXPECT_EQ(defaultJobs(Level::structure), 16);
    EXPECT_EQ(defaultJobs(Level::pixels), usableProcessors());
}

TEST(UsableProcessors, AreThoseThatTheProcessIsBoundTo) {
    cpu_set_t before;
    ASSERT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
    EXPECT_EQ(usableProcessors(), CPU_COUNT(&before));
    cpu_set_t one;
    CPU_ZERO(&one);
    int first = 0;
    while (!CPU_ISSET(first, &before)) ++first;
    CPU_SET(first, &one);
    ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    EXPECT_EQ(usableProcessors(), 1);
    ASSERT_EQ(sched_setaffinity(0, sizeof before, &before), 0);
}
