// SPDX-License-Identifier: BSD-3-Clause
#include "shared/kxMemoryLimit.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <optional>

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

// clang's question; g++ defines macros instead.
#ifndef __has_feature
#define __has_feature(name) 0
#endif

namespace {

// Sanitizers lay claim to terabytes of address space.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || __has_feature(address_sanitizer) || \
    __has_feature(memory_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool canLimit = false;
#else
constexpr bool canLimit = true;
#endif

// Asks for the address space only, no page of it is touched.
bool hasRoomFor(std::size_t bytes) {
    void* const space = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return space != MAP_FAILED && munmap(space, bytes) == 0;
}

// Of address space; nothing where the system does not say, or no descriptor is left to ask with.
std::optional<rlim_t> mappedBytes() {
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    if (pages == 0) return {};
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

bool kxLimitAddressSpace(long long bytes) {
    rlimit before{};
    if (!canLimit || getrlimit(RLIMIT_AS, &before) != 0) return false;
    const auto wanted = static_cast<rlim_t>(bytes);
    if (before.rlim_cur <= wanted) return true;  // no limit is the largest number
    const rlimit after{wanted, before.rlim_max};
    if (setrlimit(RLIMIT_AS, &after) != 0) return false;
    if (hasRoomFor(static_cast<std::size_t>(bytes / 2))) return true;
    setrlimit(RLIMIT_AS, &before);
    return false;
}

bool kxLimitFurtherAddressSpace(long long bytes) {
    rlimit limit{};
    if (!canLimit || getrlimit(RLIMIT_AS, &limit) != 0) return false;
    const std::optional<rlim_t> mapped = mappedBytes();
    if (!mapped) return false;
    limit.rlim_max = std::min(limit.rlim_max, *mapped + static_cast<rlim_t>(bytes));
    limit.rlim_cur = std::min(limit.rlim_cur, limit.rlim_max);
    return setrlimit(RLIMIT_AS, &limit) == 0;
}

bool kxIsSanitizerBuild() {
    return !canLimit;
}
