// SPDX-License-Identifier: BSD-3-Clause
// Each case limits a process of its own.
#include "shared/kxMemoryLimit.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>

#include <sys/mman.h>
#include <sys/resource.h>

namespace {

constexpr rlim_t mebibyte = 1 << 20;
constexpr long long limit = 1024LL << 20;

rlimit addressSpace() {
    rlimit now{};
    getrlimit(RLIMIT_AS, &now);
    return now;
}

bool isAddressSpace(rlim_t soft, rlim_t hard) {
    const rlimit now = addressSpace();
    return now.rlim_cur == soft && now.rlim_max == hard;
}

bool canGet(std::size_t bytes) {
    const std::unique_ptr<char[]> memory(new (std::nothrow) char[bytes]);
    return memory != nullptr;
}

// Ends the process with 0 when `isGood`; in a build that counts what is reached, this process counts too.
[[noreturn]] void end(bool isGood) {
    std::exit(isGood ? 0 : 1);
}

void expectGoodEnd(void (*process)()) {
    EXPECT_EXIT(process(), testing::ExitedWithCode(0), "");
}

class MemoryLimit : public testing::Test {
protected:
    void SetUp() override {
        if (kxIsSanitizerBuild()) GTEST_SKIP() << "a sanitizer allows no memory limit";
        if (addressSpace().rlim_cur != RLIM_INFINITY) GTEST_SKIP() << "these tests run under a limit already";
    }
};

TEST_F(MemoryLimit, RequestsBeyondItFailAndSmallerOnesDoNot) {
    expectGoodEnd([] {
        const bool isSet = kxLimitAddressSpace(limit);
        end(isSet && canGet(256 * mebibyte) && !canGet(limit));
    });
}

TEST_F(MemoryLimit, HardLimitStays) {
    expectGoodEnd([] {
        const rlim_t hard = addressSpace().rlim_max;
        end(kxLimitAddressSpace(limit) && isAddressSpace(limit, hard));
    });
    expectGoodEnd([] {
        const rlimit both{4096 * mebibyte, 4096 * mebibyte};
        setrlimit(RLIMIT_AS, &both);
        end(kxLimitAddressSpace(limit) && isAddressSpace(limit, 4096 * mebibyte));
    });
}

TEST_F(MemoryLimit, LowerLimitsStay) {
    expectGoodEnd([] {
        const rlimit soft{512 * mebibyte, addressSpace().rlim_max};
        setrlimit(RLIMIT_AS, &soft);
        end(kxLimitAddressSpace(limit) && isAddressSpace(soft.rlim_cur, soft.rlim_max));
    });
    expectGoodEnd([] {
        const rlimit both{512 * mebibyte, 512 * mebibyte};
        setrlimit(RLIMIT_AS, &both);
        end(kxLimitAddressSpace(limit) && isAddressSpace(512 * mebibyte, 512 * mebibyte));
    });
}

TEST_F(MemoryLimit, ProcessThatHoldsMostOfItAlreadyIsLeftAlone) {
    expectGoodEnd([] {
        const rlimit before = addressSpace();
        void* const held = mmap(nullptr, 600 * mebibyte, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        const bool isSet = kxLimitAddressSpace(limit);
        end(held != MAP_FAILED && !isSet && isAddressSpace(before.rlim_cur, before.rlim_max) && canGet(limit));
    });
}

// What is mapped when the limit is set comes on top, and none of it has to be given back.
TEST_F(MemoryLimit, FurtherSpaceIsCountedFromWhatIsMappedAlready) {
    expectGoodEnd([] {
        void* const held = mmap(nullptr, 600 * mebibyte, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        const bool isSet = kxLimitFurtherAddressSpace(256 * mebibyte);
        const rlimit now = addressSpace();
        end(held != MAP_FAILED && isSet && now.rlim_cur == now.rlim_max && now.rlim_max >= 856 * mebibyte &&
            canGet(128 * mebibyte) && !canGet(256 * mebibyte));
    });
}

TEST_F(MemoryLimit, FurtherSpaceRaisesNoLimit) {
    expectGoodEnd([] {
        const rlimit both{512 * mebibyte, 1024 * mebibyte};
        setrlimit(RLIMIT_AS, &both);
        end(kxLimitFurtherAddressSpace(4096 * mebibyte) && isAddressSpace(512 * mebibyte, 1024 * mebibyte));
    });
}

// Without a descriptor the process can't learn what it has mapped.
TEST_F(MemoryLimit, NothingIsLimitedWhereTheMappedSizeIsUnknown) {
    expectGoodEnd([] {
        const rlimit before = addressSpace();
        rlimit files{};
        getrlimit(RLIMIT_NOFILE, &files);
        const rlimit noFiles{0, files.rlim_max};
        setrlimit(RLIMIT_NOFILE, &noFiles);
        const bool isSet = kxLimitFurtherAddressSpace(256 * mebibyte);
        setrlimit(RLIMIT_NOFILE, &files);
        end(!isSet && isAddressSpace(before.rlim_cur, before.rlim_max) && canGet(limit));
    });
}

TEST(MemoryLimitUnderASanitizer, NothingIsLimited) {
    if (!kxIsSanitizerBuild()) GTEST_SKIP() << "this is no build with a sanitizer";
    const rlimit before = addressSpace();
    EXPECT_FALSE(kxLimitAddressSpace(limit));
    EXPECT_FALSE(kxLimitFurtherAddressSpace(limit));
    EXPECT_TRUE(isAddressSpace(before.rlim_cur, before.rlim_max));
}

}  // namespace
